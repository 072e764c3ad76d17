#include "formats/time_zone/time_zone_table.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace pellam {

namespace {

constexpr std::int64_t secondsPerDay = 86'400;
constexpr std::int64_t cycle = 146'097 * secondsPerDay;  // 400 years of the calendar
constexpr int yearsPerCycle = 400;
constexpr std::int64_t largestOffset = 2 * secondsPerDay;

std::int64_t startOf(int year) {
  const std::chrono::sys_days day = std::chrono::year(year) / std::chrono::January / 1;
  return std::int64_t{day.time_since_epoch().count()} * secondsPerDay;
}

int yearOf(std::int64_t utc) {
  const auto day = std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(std::chrono::seconds(utc)));
  return static_cast<int>(std::chrono::year_month_day(day).year());
}

bool isEarlier(std::int64_t time, const OffsetChange& change) { return time < change.utc; }

}  // namespace

TimeZoneTable::TimeZoneTable(const TimeZoneData& data) {
  const bool hasOnlyRule = data.changes.empty() && data.rule;
  changes_.push_back({std::numeric_limits<std::int64_t>::min(),
                      hasOnlyRule ? data.rule->standardOffset() : data.firstOffset});
  for (const OffsetChange& change : data.changes) add(change);
  if (data.rule && data.rule->hasDaylightSaving()) addRule(*data.rule, hasOnlyRule);
}

// A change at the same instant as the one before takes its place: there are zones that save daylight all
// year.
void TimeZoneTable::add(OffsetChange change) {
  if (change.utc <= changes_.back().utc) {
    changes_.back().offset = change.offset;
  } else if (change.offset != changes_.back().offset) {
    changes_.push_back(change);
  }
}

// One cycle and a year more at either end, so that what is near the ends lies between changes, too.
void TimeZoneTable::addRule(const TimeZoneRule& rule, bool isForAllTimes) {
  constexpr int firstYear = 1970;
  // Zones whose last change lies nearer to the ends of time than a cycle do not exist.
  constexpr std::int64_t farthest = 4000LL * 366 * secondsPerDay;
  const std::int64_t lastListed =
      isForAllTimes ? std::numeric_limits<std::int64_t>::min() : changes_.back().utc;
  if (!isForAllTimes && (lastListed > farthest || lastListed < -farthest)) return;
  const int start = isForAllTimes ? firstYear : yearOf(lastListed);
  for (int year = start; year <= start + yearsPerCycle + 3; ++year) {
    for (const OffsetChange& change : rule.changesOf(year)) {
      if (change.utc > lastListed) add(change);
    }
  }
  listedUntil_ = startOf(start + yearsPerCycle + 2);
  if (isForAllTimes) listedFrom_ = startOf(start + 2);
}

std::int64_t TimeZoneTable::shiftFor(std::int64_t time) const {
  if (listedUntil_ && time >= *listedUntil_) return -((time - *listedUntil_) / cycle + 1) * cycle;
  if (listedFrom_ && time < *listedFrom_) return ((*listedFrom_ - 1 - time) / cycle + 1) * cycle;
  return 0;
}

std::int64_t TimeZoneTable::offsetAt(std::int64_t utc) const {
  utc += shiftFor(utc);
  return (std::upper_bound(changes_.begin() + 1, changes_.end(), utc, isEarlier) - 1)->offset;
}

TimeZoneTable::Instants TimeZoneTable::instantsOf(std::int64_t local) const {
  const std::int64_t shift = shiftFor(local);
  local += shift;
  Instants result;
  auto end = std::upper_bound(changes_.begin() + 1, changes_.end(), local + largestOffset, isEarlier);
  // From the last period that may show this time on the clock back to the first.
  for (;;) {
    const auto period = end - 1;
    const std::int64_t utc = local - period->offset;
    if (end != changes_.end() && utc >= end->utc) {
      result.otherwise = utc - shift;
      break;
    }
    if (utc >= period->utc) {
      result.first = utc - shift;
      if (!result.last) result.last = result.first;
    }
    if (period->utc < local - largestOffset) break;
    end = period;
  }
  return result;
}

}  // namespace pellam

#include "platform/linux/text/time_zone_table.h"

#include <algorithm>
#include <map>

#include <unicode/ucal.h>

#include "platform/linux/text/icu_strings.h"

namespace pellam {

namespace {

constexpr std::int64_t spanStart = -2'208'988'800'000;  // 1900-01-01T00:00:00Z
constexpr std::int64_t spanEnd = 4'102'444'800'000;     // 2100-01-01T00:00:00Z

std::int64_t offsetAt(UCalendar* calendar, double utc, UErrorCode& status) {
  ucal_setMillis(calendar, utc, &status);
  return ucal_get(calendar, UCAL_ZONE_OFFSET, &status) + ucal_get(calendar, UCAL_DST_OFFSET, &status);
}

}  // namespace

TimeZoneTable::TimeZoneTable(const std::string& identifier) {
  identifier_ = identifier.empty() ? icu::filled(ucal_getDefaultTimeZone) : icu::toUTF16(identifier);
  UErrorCode status = U_ZERO_ERROR;
  const icu::Owned<UCalendar, ucal_close> calendar(
      ucal_open(identifier_.data(), icu::length(identifier_.size()), "en_US", UCAL_GREGORIAN, &status));
  if (U_FAILURE(status)) return;  // no period: every question goes to ICU
  std::int64_t offset = offsetAt(calendar.get(), static_cast<double>(spanStart), status);
  addPeriod(spanStart, offset, offset);
  double change = 0;
  while (U_SUCCESS(status) &&
         ucal_getTimeZoneTransitionDate(calendar.get(), UCAL_TZ_TRANSITION_NEXT, &change, &status) != 0 &&
         change < static_cast<double>(spanEnd)) {
    const std::int64_t offsetBefore = offset;
    offset = offsetAt(calendar.get(), change, status);
    addPeriod(static_cast<std::int64_t>(change), offsetBefore, offset);
  }
  if (U_FAILURE(status)) periods_.clear();
}

void TimeZoneTable::addPeriod(std::int64_t utcStart, std::int64_t offsetBefore, std::int64_t offset) {
  periods_.push_back({.utcStart = utcStart,
                      .localStart = utcStart + std::min(offsetBefore, offset),
                      .localSafeStart = utcStart + std::max(offsetBefore, offset),
                      .offset = offset});
}

std::optional<std::int64_t> TimeZoneTable::utcFromLocal(std::int64_t local) const {
  const auto next =
      std::upper_bound(periods_.begin(), periods_.end(), local,
                       [](std::int64_t value, const Period& p) { return value < p.localStart; });
  if (next == periods_.begin()) return std::nullopt;
  const Period& period = *(next - 1);
  const std::int64_t utc = local - period.offset;
  if (local < period.localSafeStart || utc >= spanEnd) return std::nullopt;
  return utc;
}

std::optional<std::int64_t> TimeZoneTable::localFromUTC(std::int64_t utc) const {
  const auto next = std::upper_bound(periods_.begin(), periods_.end(), utc,
                                     [](std::int64_t value, const Period& p) { return value < p.utcStart; });
  if (next == periods_.begin() || utc >= spanEnd) return std::nullopt;
  return utc + (next - 1)->offset;
}

const TimeZoneTable& TimeZoneTable::named(const std::string& identifier) {
  if (identifier.empty()) {
    static const TimeZoneTable system{std::string()};
    return system;
  }
  thread_local std::map<std::string, TimeZoneTable> tables;
  const auto found = tables.find(identifier);
  return found != tables.end() ? found->second
                               : tables.emplace(identifier, TimeZoneTable(identifier)).first->second;
}

}  // namespace pellam

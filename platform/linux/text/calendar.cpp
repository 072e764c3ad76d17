#include "platform/calendar.h"

#include <cmath>
#include <limits>

#include <unicode/udat.h>

#include "platform/linux/text/current_time_zone.h"
#include "platform/linux/text/icu_strings.h"

namespace pellam {

namespace {

using std::chrono::floor;
using std::chrono::seconds;

constexpr std::int64_t secondsPerDay = 86'400;

// Within Date, and exact in ICU's doubles.
constexpr std::int64_t secondsThatFit = 9'000'000'000'000;

std::optional<Date> dateAt(std::int64_t utc) {
  if (utc <= -secondsThatFit || utc >= secondsThatFit) return std::nullopt;
  return Date(seconds(utc));
}

// The days that are not written plainly are the platform's formatter's to read, by the clocks of UTC: the
// zones of its library are older than the system's. One for each thread; opening it is what costs.
UDateFormat* dayFormatter() {
  thread_local const icu::Owned<UDateFormat, udat_close> formatter = [] {
    UErrorCode status = U_ZERO_ERROR;
    icu::Owned<UDateFormat, udat_close> opened(
        udat_open(UDAT_PATTERN, UDAT_PATTERN, "en_US", u"UTC", -1, u"yyyy-MM-dd", -1, &status));
    if (opened != nullptr) udat_setLenient(opened.get(), 0);
    return opened;
  }();
  return formatter.get();
}

// The start of the day by the clocks of UTC, in seconds.
std::optional<std::int64_t> readDay(std::string_view text) {
  UDateFormat* formatter = dayFormatter();
  if (formatter == nullptr || text.size() > 1000) return std::nullopt;
  const std::u16string wide = icu::toUTF16(text);
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t position = 0;
  const double parsed = udat_parse(formatter, wide.data(), icu::length(wide.size()), &position, &status);
  if (U_FAILURE(status) || position != icu::length(wide.size())) return std::nullopt;
  constexpr double limit = static_cast<double>(secondsThatFit) * 1000;
  if (!(parsed > -limit && parsed < limit)) return std::nullopt;
  return static_cast<std::int64_t>(std::floor(parsed / 1000));
}

// The day when the text is exactly four digits, "-", two digits, "-", two digits.
std::optional<std::chrono::year_month_day> plainDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  const auto number = [&](std::size_t start, std::size_t end) {
    int value = 0;
    for (std::size_t index = start; index < end; ++index) {
      if (text[index] < '0' || text[index] > '9') return -1;
      value = value * 10 + (text[index] - '0');
    }
    return value;
  };
  const int year = number(0, 4);
  const int month = number(5, 7);
  const int day = number(8, 10);
  if (year < 0 || month < 0 || day < 0) return std::nullopt;
  return std::chrono::year_month_day{std::chrono::year(year),
                                     std::chrono::month(static_cast<unsigned>(month)),
                                     std::chrono::day(static_cast<unsigned>(day))};
}

}  // namespace

std::optional<Date> Calendar::addingDays(Date date, std::int64_t dayCount) const {
  constexpr std::int64_t mostDays = std::numeric_limits<std::int32_t>::max();
  if (dayCount > mostDays || dayCount < -mostDays) return std::nullopt;
  const std::int64_t utc = floor<seconds>(date).time_since_epoch().count();
  const std::optional<Date> start = dateAt(utc);
  if (!start) return std::nullopt;
  const TimeZoneTable& zone = timeZoneNamed(timeZone_);
  const std::int64_t offset = zone.offsetAt(utc);
  const TimeZoneTable::Instants instants = zone.instantsOf(utc + offset + dayCount * secondsPerDay);
  // A time that the clock shows twice is the one without a change on the way; one that it never shows is
  // counted as if the clock had not been put forward yet.
  std::int64_t moved = instants.otherwise;
  if (instants.first) {
    const bool isFirst = *instants.first == utc + dayCount * secondsPerDay;
    moved = isFirst ? *instants.first : *instants.last;
  }
  const std::optional<Date> result = dateAt(moved);
  if (!result) return std::nullopt;
  return *result + (date - *start);
}

std::optional<Date> Calendar::parseDay(std::string_view text) const {
  std::optional<std::int64_t> midnight;
  // Before 1583 the platform's calendar is the Julian one.
  if (const auto day = plainDay(text); day && day->year() >= std::chrono::year(1583)) {
    if (!day->ok()) return std::nullopt;
    midnight = std::int64_t{std::chrono::sys_days(*day).time_since_epoch().count()} * secondsPerDay;
  } else {
    midnight = readDay(text);
  }
  if (!midnight) return std::nullopt;
  const std::optional<std::int64_t> utc = timeZoneNamed(timeZone_).instantsOf(*midnight).last;
  return utc ? dateAt(*utc) : std::nullopt;
}

}  // namespace pellam

#include "platform/calendar.h"

#include <limits>

#include <unicode/ucal.h>
#include <unicode/udat.h>

#include "platform/linux/text/icu_strings.h"
#include "platform/linux/text/time_zone_table.h"

namespace pellam {

namespace {

using std::chrono::days;
using std::chrono::floor;
using std::chrono::milliseconds;
using Milliseconds = std::chrono::sys_time<milliseconds>;

constexpr double millisecondsThatFit = 9e15;  // within Date, and exact in ICU's doubles

std::optional<Date> dateFromICU(double value) {
  if (!(value > -millisecondsThatFit && value < millisecondsThatFit)) return std::nullopt;
  return Milliseconds(milliseconds(static_cast<std::int64_t>(value)));
}

// The ICU objects of the zone that this thread used last; opening them is what costs.
struct SlowPath {
  std::u16string identifier;
  icu::Owned<UCalendar, ucal_close> calendar;
  icu::Owned<UDateFormat, udat_close> formatter;

  explicit SlowPath(const std::u16string& zone) : identifier(zone) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t zoneLength = icu::length(zone.size());
    calendar.reset(ucal_open(zone.data(), zoneLength, "en_US", UCAL_GREGORIAN, &status));
    formatter.reset(
        udat_open(UDAT_PATTERN, UDAT_PATTERN, "en_US", zone.data(), zoneLength, u"yyyy-MM-dd", -1, &status));
    if (formatter != nullptr) udat_setLenient(formatter.get(), 0);
  }

  static SlowPath& forZone(const std::u16string& zone) {
    thread_local std::optional<SlowPath> last;
    if (!last || last->identifier != zone) last.emplace(zone);
    return *last;
  }
};

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
  constexpr std::int64_t limit = std::numeric_limits<std::int32_t>::max();
  if (dayCount > limit || dayCount < -limit) return std::nullopt;
  const TimeZoneTable& table = TimeZoneTable::named(timeZone_);
  const auto start = floor<milliseconds>(date);
  const auto remainder = date - start;
  if (const auto local = table.localFromUTC(start.time_since_epoch().count())) {
    if (const auto utc = table.utcFromLocal(*local + dayCount * std::int64_t{86'400'000})) {
      return Milliseconds(milliseconds(*utc)) + remainder;
    }
  }
  UCalendar* calendar = SlowPath::forZone(table.identifier()).calendar.get();
  if (calendar == nullptr) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  ucal_setMillis(calendar, static_cast<double>(start.time_since_epoch().count()), &status);
  ucal_add(calendar, UCAL_DATE, static_cast<std::int32_t>(dayCount), &status);
  const std::optional<Date> moved = dateFromICU(ucal_getMillis(calendar, &status));
  if (U_FAILURE(status) || !moved) return std::nullopt;
  return *moved + remainder;
}

std::optional<Date> Calendar::parseDay(std::string_view text) const {
  const TimeZoneTable& table = TimeZoneTable::named(timeZone_);
  // Before 1583 the platform's calendar is the Julian one.
  if (const auto day = plainDay(text); day && day->year() >= std::chrono::year(1583)) {
    if (!day->ok()) return std::nullopt;
    const Milliseconds midnight{std::chrono::sys_days(*day)};
    if (const auto utc = table.utcFromLocal(midnight.time_since_epoch().count())) {
      return Milliseconds(milliseconds(*utc));
    }
  }
  UDateFormat* formatter = SlowPath::forZone(table.identifier()).formatter.get();
  if (formatter == nullptr || text.size() > 1000) return std::nullopt;
  const std::u16string wide = icu::toUTF16(text);
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t position = 0;
  const double parsed = udat_parse(formatter, wide.data(), icu::length(wide.size()), &position, &status);
  if (U_FAILURE(status) || position != icu::length(wide.size())) return std::nullopt;
  return dateFromICU(parsed);
}

}  // namespace pellam

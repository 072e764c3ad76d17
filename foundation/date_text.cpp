#include "foundation/date_text.h"

#include <cstdio>

namespace pellam {

namespace {

using std::chrono::days;
using std::chrono::floor;

// 400 years of the Gregorian calendar.
using CalendarCycles =
    std::chrono::duration<int, std::ratio_multiply<std::chrono::days::period, std::ratio<146'097>>>;

// Takes exactly `count` digits from the front, then the separator (unless it is zero).
bool takeNumber(std::string_view& text, std::size_t count, char separator, int& value) {
  if (text.size() < count + (separator == 0 ? 0 : 1)) return false;
  value = 0;
  for (std::size_t index = 0; index < count; ++index) {
    if (text[index] < '0' || text[index] > '9') return false;
    value = value * 10 + (text[index] - '0');
  }
  text.remove_prefix(count);
  if (separator == 0) return true;
  if (text.front() != separator) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

std::string iso8601Text(Date date) {
  // The library's years end at 32767, dates go on for nine times as long; but the calendar repeats itself.
  const std::chrono::sys_days day = floor<days>(date);
  const auto cycles = floor<CalendarCycles>(day.time_since_epoch());
  const std::chrono::year_month_day calendarDay(day - cycles);
  const int year = static_cast<int>(calendarDay.year()) + cycles.count() * 400;
  const std::chrono::hh_mm_ss time(floor<std::chrono::seconds>(date) - day);
  char text[64];
  (void)std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", year,
                      static_cast<unsigned>(calendarDay.month()), static_cast<unsigned>(calendarDay.day()),
                      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                      static_cast<int>(time.seconds().count()));
  return text;
}

std::optional<Date> parseISO8601(std::string_view text) {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (!takeNumber(text, 4, '-', year) || !takeNumber(text, 2, '-', month) || !takeNumber(text, 2, 'T', day) ||
      !takeNumber(text, 2, ':', hour) || !takeNumber(text, 2, ':', minute) ||
      !takeNumber(text, 2, 0, second)) {
    return std::nullopt;
  }
  std::int64_t microseconds = 0;
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
    std::int64_t scale = 100'000;
    std::size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9' && digits < 6) {
      microseconds += (text[digits] - '0') * scale;
      scale /= 10;
      ++digits;
    }
    if (digits == 0) return std::nullopt;
    text.remove_prefix(digits);
  }
  if (text != "Z" || year < 1 || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::chrono::year_month_day calendarDay{std::chrono::year(year),
                                                std::chrono::month(static_cast<unsigned>(month)),
                                                std::chrono::day(static_cast<unsigned>(day))};
  if (!calendarDay.ok()) return std::nullopt;
  return Date(std::chrono::sys_days(calendarDay)) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second) + std::chrono::microseconds(microseconds);
}

}  // namespace pellam

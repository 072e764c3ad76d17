#include "platform/calendar.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace pellam {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;
using namespace std::chrono_literals;

// "YYYY-MM-DD hh:mm" in UTC, or "none".
std::string shown(std::optional<Date> date) {
  if (!date) return "none";
  const auto day = std::chrono::floor<std::chrono::days>(*date);
  const year_month_day calendarDay(day);
  const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(*date - day).count();
  char text[64];
  (void)std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d", static_cast<int>(calendarDay.year()),
                      static_cast<unsigned>(calendarDay.month()), static_cast<unsigned>(calendarDay.day()),
                      static_cast<int>(minutes / 60), static_cast<int>(minutes % 60));
  return text;
}

TEST(CalendarTest, ReadsDaysStrictlyInTheZone) {
  struct Row {
    const char* zone;
    const char* text;
    const char* expected;
  };
  const Row rows[] = {
      {"UTC", "2024-02-29", "2024-02-29 00:00"},
      {"UTC", "2023-02-29", "none"},
      {"UTC", "2024-13-45", "none"},
      {"UTC", "2024-00-01", "none"},
      {"UTC", "12/01/2024", "none"},
      {"UTC", "2024-01-05x", "none"},
      {"UTC", "2024-01-05 10:00", "none"},
      {"UTC", "2024-01", "none"},
      {"UTC", "", "none"},
      {"UTC", "2024-1-5", "none"},
      {"UTC", "24-01-05", "0024-01-03 00:00"},     // a year as written, in the Julian calendar
      {"UTC", " 2024-01-05", "2024-01-05 00:00"},  // as the formatter does
      {"UTC", "9999-12-31", "9999-12-31 00:00"},
      {"UTC", "1500-01-01", "1500-01-10 00:00"},  // the Julian calendar before 1583
      {"Europe/Berlin", "2024-01-15", "2024-01-14 23:00"},
      {"Europe/Berlin", "2024-07-15", "2024-07-14 22:00"},
      {"Europe/Berlin", "2024-03-31", "2024-03-30 23:00"},  // the clock changes later that day
      {"Asia/Kathmandu", "2024-01-15", "2024-01-14 18:15"},
      {"America/Sao_Paulo", "2017-10-15", "none"},  // midnight did not exist
      {"America/Sao_Paulo", "2018-02-18", "2018-02-18 03:00"},
      {"No/Such_Zone", "2024-01-15", "2024-01-15 00:00"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(shown(Calendar(row.zone).parseDay(row.text)), row.expected) << row.zone << " " << row.text;
  }
}

TEST(CalendarTest, AddsDaysOnTheCalendar) {
  const Calendar berlin("Europe/Berlin");
  const Date before = *berlin.parseDay("2024-03-30");
  EXPECT_EQ(shown(berlin.addingDays(before, 1)), "2024-03-30 23:00");
  EXPECT_EQ(shown(berlin.addingDays(before, 2)), "2024-03-31 22:00");                          // 47 hours
  EXPECT_EQ(shown(berlin.addingDays(*berlin.parseDay("2024-10-27"), 1)), "2024-10-27 23:00");  // 25 hours
  EXPECT_EQ(berlin.addingDays(before + 7us, 400), *berlin.addingDays(before, 400) + 7us);
  EXPECT_EQ(shown(berlin.addingDays(before, -30)), "2024-02-28 23:00");
  // 02:30 does not exist on the last day of March.
  EXPECT_EQ(shown(berlin.addingDays(before + 2h + 30min, 1)), "2024-03-31 01:30");
  EXPECT_EQ(shown(berlin.addingDays(distantPast, 3)), "0001-01-04 00:00");
}

TEST(CalendarTest, DatesThatCannotBeFormedAreNothing) {
  const Calendar utc("UTC");
  EXPECT_EQ(utc.addingDays(Date(), INT64_MAX), std::nullopt);
  EXPECT_EQ(utc.addingDays(Date(), INT64_MIN), std::nullopt);
  EXPECT_EQ(utc.addingDays(Date(), 2'000'000'000), std::nullopt);
  EXPECT_EQ(utc.addingDays(Date::max(), 1), std::nullopt);
}

// The table answers almost every question; what it says must be what adding day by day through the changes
// of the clock says.
TEST(CalendarTest, MidnightsFollowEachOther) {
  for (const char* zone : {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Pacific/Apia"}) {
    const Calendar calendar(zone);
    for (int year : {1901, 1945, 2011, 2024, 2037, 2099, 2101}) {
      for (unsigned month = 1; month <= 12; ++month) {
        char text[16];
        (void)std::snprintf(text, sizeof text, "%04d-%02u-01", year, month);
        const std::optional<Date> first = calendar.parseDay(text);
        ASSERT_TRUE(first) << zone << text;
        (void)std::snprintf(text, sizeof text, "%04d-%02u-15", year, month);
        EXPECT_EQ(calendar.addingDays(*first, 14), calendar.parseDay(text)) << zone << " " << text;
      }
    }
  }
}

}  // namespace
}  // namespace pellam

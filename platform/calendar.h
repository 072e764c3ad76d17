#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "pellam/date.h"

namespace pellam {

// The user's calendar in a time zone. A value; any thread.
class Calendar {
 public:
  // The user's current calendar in the system time zone, whichever that is when the calendar is asked.
  Calendar() = default;
  // The same in a named zone ("Europe/Berlin"); an unknown name counts as UTC.
  explicit Calendar(std::string timeZoneIdentifier) : timeZone_(std::move(timeZoneIdentifier)) {}

  // The instant that many calendar days later, at the same wall-clock time where that exists; days are
  // counted on the calendar, not as 86,400 seconds. Nothing when the date cannot be formed.
  [[nodiscard]] std::optional<Date> addingDays(Date date, std::int64_t days) const;

  // Reads a day written "yyyy-MM-dd" as the start of that day in this zone, with the rules of the platform's
  // date formatter for locale en_US, not lenient. Nothing for other text and for impossible days.
  [[nodiscard]] std::optional<Date> parseDay(std::string_view text) const;

 private:
  std::string timeZone_;  // empty: the system's
};

}  // namespace pellam

#include "formats/time_zone/time_zone_rule.h"

#include <algorithm>
#include <chrono>

namespace pellam {

namespace {

constexpr std::int64_t secondsPerDay = 86'400;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace

// Takes the pieces of a rule off its text. Each operation is false, and the rest undefined, when its piece is
// not there.
class TimeZoneRule::Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }
  [[nodiscard]] bool isAt(char c) const { return rest_.starts_with(c); }

  bool take(char c) {
    if (!isAt(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // Three letters or more, or anything of letters, digits and signs in angle brackets.
  bool takeName() {
    const bool isQuoted = take('<');
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), [&](char c) {
      return isLetter(c) || (isQuoted && (isDigit(c) || c == '+' || c == '-'));
    });
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    rest_.remove_prefix(length);
    return length >= 3 && (!isQuoted || take('>'));
  }

  bool takeNumber(int lowest, int highest, int& number) {
    if (rest_.empty() || !isDigit(rest_.front())) return false;
    for (number = 0; !rest_.empty() && isDigit(rest_.front()); rest_.remove_prefix(1)) {
      number = number * 10 + (rest_.front() - '0');
      if (number > highest) return false;
    }
    return number >= lowest;
  }

  // [+-]hh[:mm[:ss]]
  bool takeTime(int mostHours, std::int64_t& seconds) {
    const bool isNegative = take('-');
    if (!isNegative) (void)take('+');
    int hours = 0;
    int minutes = 0;
    int rest = 0;
    if (!takeNumber(0, mostHours, hours)) return false;
    if (take(':') && (!takeNumber(0, 59, minutes) || (take(':') && !takeNumber(0, 59, rest)))) return false;
    seconds = std::int64_t{hours} * 3600 + minutes * 60 + rest;
    if (isNegative) seconds = -seconds;
    return true;
  }

  // What is written is how far the zone is behind.
  bool takeOffset(std::int64_t& offset) {
    if (!takeTime(24, offset)) return false;
    offset = -offset;
    return true;
  }

  bool takeDay(Day& day) {
    if (!take(',')) return false;
    if (take('M')) {
      day.form = Day::Form::ofMonth;
      if (!takeNumber(1, 12, day.month) || !take('.') || !takeNumber(1, 5, day.week) || !take('.') ||
          !takeNumber(0, 6, day.day))
        return false;
    } else {
      const bool isJulian = take('J');
      day.form = isJulian ? Day::Form::julian : Day::Form::ofYear;
      if (!takeNumber(isJulian ? 1 : 0, 365, day.day)) return false;
    }
    day.time = 2 * 3600;
    return !take('/') || takeTime(167, day.time);
  }

 private:
  std::string_view rest_;
};

std::int64_t TimeZoneRule::Day::localTimeIn(int year) const {
  using namespace std::chrono;
  const std::chrono::year calendarYear(year);
  sys_days result = calendarYear / January / 1;
  switch (form) {
    case Form::julian:
      result += days(day - 1 + (calendarYear.is_leap() && day >= 60 ? 1 : 0));
      break;
    case Form::ofYear:
      result += days(day);
      break;
    case Form::ofMonth: {
      const weekday dayOfWeek(static_cast<unsigned>(day));
      const auto calendarMonth = calendarYear / month;
      result = week == 5 ? sys_days(calendarMonth / dayOfWeek[last])
                         : sys_days(calendarMonth / dayOfWeek[static_cast<unsigned>(week)]);
      break;
    }
  }
  return std::int64_t{result.time_since_epoch().count()} * secondsPerDay + time;
}

std::optional<TimeZoneRule> TimeZoneRule::parse(std::string_view text) {
  TimeZoneRule rule;
  Reader reader(text);
  if (!reader.takeName() || !reader.takeOffset(rule.standardOffset_)) return std::nullopt;
  if (reader.isAtEnd()) return rule;
  rule.hasDaylightSaving_ = true;
  rule.daylightOffset_ = rule.standardOffset_ + 3600;
  if (!reader.takeName()) return std::nullopt;
  if (!reader.isAtEnd() && !reader.isAt(',') && !reader.takeOffset(rule.daylightOffset_)) return std::nullopt;
  Reader usual(",M3.2.0,M11.1.0");
  Reader& days = reader.isAtEnd() ? usual : reader;
  if (!days.takeDay(rule.start_) || !days.takeDay(rule.end_) || !days.isAtEnd()) return std::nullopt;
  return rule;
}

std::vector<OffsetChange> TimeZoneRule::changesOf(int year) const {
  if (!hasDaylightSaving_) return {};
  const OffsetChange start{start_.localTimeIn(year) - standardOffset_, daylightOffset_};
  const OffsetChange end{end_.localTimeIn(year) - daylightOffset_, standardOffset_};
  if (start.utc <= end.utc) return {start, end};
  return {end, start};
}

}  // namespace pellam

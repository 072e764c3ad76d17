#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace pellam {

// From this instant on a zone's clocks are so far ahead of UTC. Seconds, the instant since 1970.
struct OffsetChange {
  std::int64_t utc = 0;
  std::int64_t offset = 0;

  friend bool operator==(const OffsetChange&, const OffsetChange&) = default;
};

// A zone as POSIX writes it in TZ, "CET-1CEST,M3.5.0,M10.5.0/3": the standard offset, and for daylight saving
// time another one with the two days of every year on which the clocks change. Zone files end with such a
// rule for all years that they do not list. Immutable; any thread.
class TimeZoneRule {
 public:
  // Nothing for any other text. Daylight saving time without days begins and ends as in New York.
  [[nodiscard]] static std::optional<TimeZoneRule> parse(std::string_view text);

  [[nodiscard]] std::int64_t standardOffset() const { return standardOffset_; }
  [[nodiscard]] bool hasDaylightSaving() const { return hasDaylightSaving_; }
  // What changes by the two days of one year, the earlier first; nothing without daylight saving time.
  [[nodiscard]] std::vector<OffsetChange> changesOf(int year) const;

 private:
  class Reader;
  struct Day {
    enum class Form { julian, ofYear, ofMonth } form = Form::ofYear;
    int day = 0;  // 1 to 365 without 29 February; 0 to 365; 0 (Sunday) to 6
    int week = 0;
    int month = 0;
    std::int64_t time = 0;  // seconds after midnight, by the clocks as they went until then

    [[nodiscard]] std::int64_t localTimeIn(int year) const;
  };

  std::int64_t standardOffset_ = 0;
  std::int64_t daylightOffset_ = 0;
  bool hasDaylightSaving_ = false;
  Day start_;
  Day end_;
};

}  // namespace pellam

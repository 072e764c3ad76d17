#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "formats/time_zone/time_zone_file.h"

namespace pellam {

// The offsets of one time zone at all times, so that every conversion is a binary search without allocation.
// Immutable; any thread. Seconds since 1970 throughout, "local" meaning the wall clock read as if it were
// UTC.
class TimeZoneTable {
 public:
  // UTC.
  TimeZoneTable() : TimeZoneTable(TimeZoneData()) {}
  explicit TimeZoneTable(const TimeZoneData& data);

  [[nodiscard]] std::int64_t offsetAt(std::int64_t utc) const;

  // When the wall clock shows a time: once, or twice where it is put back, or never where it is put forward.
  struct Instants {
    std::optional<std::int64_t> first;
    std::optional<std::int64_t> last;  // the same as `first` when it is shown once
    std::int64_t otherwise = 0;        // when it is never shown: the instant if the clock had not been put
  };
  [[nodiscard]] Instants instantsOf(std::int64_t local) const;

 private:
  void add(OffsetChange change);
  void addRule(const TimeZoneRule& rule, bool isForAllTimes);
  // By how much a time must be moved to lie where the changes are listed.
  [[nodiscard]] std::int64_t shiftFor(std::int64_t time) const;

  std::vector<OffsetChange> changes_;  // the first is for all time before the second
  // Outside these the changes repeat themselves every 400 years, as the calendar does.
  std::optional<std::int64_t> listedFrom_;
  std::optional<std::int64_t> listedUntil_;
};

}  // namespace pellam

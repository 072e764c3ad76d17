#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "formats/time_zone/time_zone_rule.h"

namespace pellam {

// What is known of one zone: its offset before all changes, the changes that were listed, in ascending order,
// and the rule for the time behind them.
struct TimeZoneData {
  std::int64_t firstOffset = 0;
  std::vector<OffsetChange> changes;
  std::optional<TimeZoneRule> rule;
};

// Reads the contents of a compiled zone file ("TZif", RFC 8536; leap seconds are not counted). Nothing for
// anything else, and for a file that is damaged. Any thread.
[[nodiscard]] std::optional<TimeZoneData> readTimeZoneFile(std::span<const std::uint8_t> bytes);

}  // namespace pellam

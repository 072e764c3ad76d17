#pragma once

#include <chrono>
#include <cstdint>

namespace [[gnu::visibility("default")]] pellam {

// An instant, counted in microseconds from 1970-01-01T00:00:00Z. Time zones never enter the type.
//
// For example:
//
//     const Date release = Date(std::chrono::seconds(1'700'000'000));
//     assert(release > distantPast);
//     assert(release + std::chrono::hours(24) > release);
using Date = std::chrono::sys_time<std::chrono::microseconds>;

// The most distant past that the platform's dates represent: 0001-01-01T00:00:00Z. It stands for a release
// day that is missing or unreadable.
inline constexpr Date distantPast{std::chrono::seconds{-62'135'596'800}};

// The instant so many seconds and microseconds, fewer than a second, after 1970; beyond the instants that
// there are, the last or first of them. File systems keep times far outside.
[[nodiscard]] constexpr Date dateFromSeconds(std::int64_t seconds, std::int64_t microseconds) {
  constexpr std::int64_t last =
      std::chrono::floor<std::chrono::seconds>(Date::max()).time_since_epoch().count();
  if (seconds >= last) return Date::max();
  if (seconds < -last) return Date::min();
  return Date(std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds));
}

}  // namespace pellam

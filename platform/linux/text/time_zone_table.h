#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pellam {

// The offsets of one time zone between 1900 and 2100, taken from ICU once, so that the usual conversions are
// a binary search without allocation. Immutable; any thread. Milliseconds since 1970 throughout, "local"
// meaning the wall clock read as if it were UTC. Nothing outside the span and around changes of the offset,
// where a wall-clock time may not exist or may exist twice: there the caller asks ICU.
class TimeZoneTable {
 public:
  // The empty identifier means the system's zone; an unknown one counts as UTC.
  explicit TimeZoneTable(const std::string& identifier);

  [[nodiscard]] const std::u16string& identifier() const { return identifier_; }
  [[nodiscard]] std::optional<std::int64_t> utcFromLocal(std::int64_t local) const;
  [[nodiscard]] std::optional<std::int64_t> localFromUTC(std::int64_t utc) const;

  // The table of a zone: one for the whole process for the system's, one per thread for every other.
  [[nodiscard]] static const TimeZoneTable& named(const std::string& identifier);

 private:
  struct Period {
    std::int64_t utcStart;
    std::int64_t localStart;      // the earliest wall clock that may belong to this period
    std::int64_t localSafeStart;  // from here on it belongs to no earlier period
    std::int64_t offset;
  };
  void addPeriod(std::int64_t utcStart, std::int64_t offsetBefore, std::int64_t offset);

  std::u16string identifier_;
  std::vector<Period> periods_;
};

}  // namespace pellam

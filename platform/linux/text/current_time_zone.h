#pragma once

#include <sys/stat.h>

#include <chrono>
#include <optional>
#include <string>

#include "formats/time_zone/time_zone_table.h"

namespace pellam {

// Where the zones are, as the C library looks for them.
struct TimeZonePlaces {
  std::string localTime = "/etc/localtime";    // the system's zone
  std::string folder = "/usr/share/zoneinfo";  // all zones; TZDIR takes its place
};

// One zone as it is on the disk now. The system's zone data is used rather than ICU's, which is as old as the
// library and knows nothing of the governments' decisions since, and rather than the C library, which offers
// one zone for the whole process and looks for changes only through tzset, not safe beside other threads'
// getenv. Not thread-safe: each thread has its own.
class CurrentTimeZone {
 public:
  // By a name or rule as TZ has it. Without one: TZ itself, and where that is not set the system's zone.
  explicit CurrentTimeZone(std::optional<std::string> name, TimeZonePlaces places = {})
      : name_(std::move(name)), places_(std::move(places)) {}

  // The zone, a tenth of a second old at most. The reference holds until the next call.
  [[nodiscard]] const TimeZoneTable& table();
  // The same, looked for at once.
  [[nodiscard]] const TimeZoneTable& refreshed();

 private:
  // What the table was made from.
  struct Origin {
    std::optional<std::string> text;
    std::string file;
    std::optional<struct stat> status;  // of the file, where there is one
    [[nodiscard]] bool isSame(const Origin& other) const;
  };
  [[nodiscard]] Origin origin() const;
  [[nodiscard]] static TimeZoneTable load(const Origin& origin);

  std::optional<std::string> name_;
  TimeZonePlaces places_;
  std::optional<Origin> loaded_;
  TimeZoneTable table_;
  std::chrono::nanoseconds nextLook_{0};
};

// The zone of that name for the calling thread; the empty name is the current one.
[[nodiscard]] const TimeZoneTable& timeZoneNamed(const std::string& name);

}  // namespace pellam

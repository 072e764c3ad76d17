#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace pellam {

struct OperatingSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;
  // "major.minor.patch"
  [[nodiscard]] std::string text() const {
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
  }
  friend bool operator==(const OperatingSystemVersion&, const OperatingSystemVersion&) = default;
};

// macOS 26 calls itself 16 in programs that were built with an older kit, so that they would refuse every
// release that asks for 26. No macOS was ever sold as 16.
[[nodiscard]] constexpr OperatingSystemVersion asSold(OperatingSystemVersion macOS) {
  if (macOS.major == 16) macOS.major = 26;
  return macOS;
}

// Facts about this process, its user and its system. Any thread.
class ProcessInformation {
 public:
  virtual ~ProcessInformation() = default;
  [[nodiscard]] virtual std::int32_t processIdentifier() const = 0;
  [[nodiscard]] virtual std::uint32_t userID() const = 0;
  [[nodiscard]] virtual std::uint32_t effectiveUserID() const = 0;
  [[nodiscard]] virtual std::uint32_t groupID() const = 0;
  [[nodiscard]] virtual std::string userName() const = 0;
  [[nodiscard]] virtual std::string homeDirectory() const = 0;
  [[nodiscard]] virtual OperatingSystemVersion operatingSystemVersion() const = 0;

  // Blocks until the process has ended, at most for the time given. True when it has ended or never existed.
  // Throws std::system_error when the wait cannot begin or go on.
  [[nodiscard]] virtual bool waitForProcessToEnd(std::int32_t processIdentifier,
                                                 std::chrono::milliseconds limit) const = 0;
};

[[nodiscard]] std::shared_ptr<ProcessInformation> makeSystemProcessInformation();

}  // namespace pellam

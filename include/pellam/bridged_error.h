#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace [[gnu::visibility("default")]] pellam {

// An error as it appears on the wire, in diagnostics and in logs: a domain, a code within it and one line for
// people. Domains and codes are stable across releases.
struct BridgedError {
  std::string domain;
  std::int64_t code = 0;
  std::string description;

  friend bool operator==(const BridgedError&, const BridgedError&) = default;
};

// The base of every error type of this system. what() is the bridged description.
class PellamError : public std::exception {
 public:
  [[nodiscard]] virtual BridgedError bridged() const = 0;
};

// An error that the operating system or a framework reported in its own domain and that passes through
// unchanged.
class PlatformError : public PellamError {
 public:
  explicit PlatformError(BridgedError error) : error_(std::move(error)) {}
  [[nodiscard]] BridgedError bridged() const override { return error_; }
  [[nodiscard]] const char* what() const noexcept override { return error_.description.c_str(); }

 private:
  BridgedError error_;
};

// The one conversion: this system's errors by their own domain and number, std::system_error as
// NSPOSIXErrorDomain with errno and its text, anything else as domain "Pellam.Unexpected", code 0, what().
//
// For example:
//
//     try {
//       throw PlatformError({"NSPOSIXErrorDomain", 28, "No space left on device"});
//     } catch (const std::exception& error) {
//       assert(bridge(error) == (BridgedError{"NSPOSIXErrorDomain", 28, "No space left on device"}));
//     }
[[nodiscard]] BridgedError bridge(const std::exception& error);

}  // namespace pellam

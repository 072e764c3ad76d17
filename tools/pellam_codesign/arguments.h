#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace pellam::codesign {

// A command line that makes no sense; what() says why on one line.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The command line of pellam-codesign: the part of the platform tool's that this system uses, and where the
// signer's files are.
struct Arguments {
  enum class Operation { sign, verify, display };

  Operation operation = Operation::verify;
  std::vector<std::filesystem::path> paths;              // one or more
  std::optional<std::filesystem::path> certificateFile;  // present when signing
  std::optional<std::filesystem::path> keyFile;          // present when signing
  std::optional<std::string> team;
  std::optional<std::string> identifier;
  std::optional<std::filesystem::path> anchors;
  bool strict = false;
  bool deep = false;

  // Throws UsageError.
  [[nodiscard]] static Arguments parse(std::span<const std::string> arguments);
};

inline constexpr const char* usage =
    "usage: pellam-codesign --sign CERTIFICATE.pem --key KEY.pem [--team ID] [--identifier ID] BUNDLE...\n"
    "       pellam-codesign --verify [--strict] [--deep] [--anchors FILE.pem] BUNDLE...\n"
    "       pellam-codesign -d[v] [--verbose=N] BUNDLE...\n";

}  // namespace pellam::codesign

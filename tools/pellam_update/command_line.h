#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "pellam/url.h"

namespace pellam {

// What the user asked of pellam-update.
struct UpdateCommandLine {
  std::filesystem::path application;
  std::optional<URL> feed;  // always present unless help is asked for
  bool checkOnly = false;
  bool installWithoutAsking = false;
  bool isAutomatic = false;
  bool acceptsBeta = false;
  bool printsJSON = false;
  bool showsHelp = false;
  std::optional<std::string> language;
  std::set<std::string, std::less<>> acceptedSKUs;
  std::optional<std::string> operatingSystemVersion;
  std::optional<std::int64_t> staggerGroup;
  std::optional<std::filesystem::path> stateFolder;
};

// The command line cannot be understood; what() is one line that names the offending part.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Parses the arguments behind the program's name. Relative paths stay relative. Throws UsageError.
[[nodiscard]] UpdateCommandLine parseUpdateCommandLine(const std::vector<std::string>& arguments);

// The text of --help.
[[nodiscard]] std::string updateUsageText();

}  // namespace pellam

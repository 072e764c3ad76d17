#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "pellam/property_list_value.h"

namespace pellam {

// The identifier that an Info.plist states ("CFBundleIdentifier"), when it is a text. The one reading of it.
[[nodiscard]] std::optional<std::string> bundleIdentifierOf(const PropertyListDictionary& information);

// A bundle that could be opened, with what its Info.plist says. A value.
struct Bundle {
  std::filesystem::path path;
  PropertyListDictionary informationDictionary;  // empty when there is no readable Info.plist

  // CFBundleIdentifier when it is a string.
  [[nodiscard]] std::optional<std::string> bundleIdentifier() const;
  // A string of the information dictionary, else the empty string.
  [[nodiscard]] std::string informationString(const char* key) const;
};

}  // namespace pellam

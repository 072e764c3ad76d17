#include "foundation/bundle.h"

namespace pellam {

std::optional<std::string> Bundle::bundleIdentifier() const {
  const PropertyListText* identifier = informationDictionary.findString("CFBundleIdentifier");
  return identifier == nullptr ? std::nullopt : std::optional(*identifier);
}

std::string Bundle::informationString(const char* key) const {
  const PropertyListText* value = informationDictionary.findString(key);
  return value == nullptr ? std::string() : *value;
}

}  // namespace pellam

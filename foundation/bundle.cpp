#include "foundation/bundle.h"

namespace pellam {

std::optional<std::string> bundleIdentifierOf(const PropertyListDictionary& information) {
  const PropertyListText* identifier = information.findString("CFBundleIdentifier");
  return identifier == nullptr ? std::nullopt : std::optional<std::string>(*identifier);
}

std::optional<std::string> Bundle::bundleIdentifier() const {
  return bundleIdentifierOf(informationDictionary);
}

std::string Bundle::informationString(const char* key) const {
  const PropertyListText* value = informationDictionary.findString(key);
  return value == nullptr ? std::string() : *value;
}

}  // namespace pellam

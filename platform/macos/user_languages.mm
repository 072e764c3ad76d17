#include "platform/user_languages.h"

#include "platform/macos/foundation_bridge.h"

namespace pellam {

std::vector<std::string> userLanguages() {
  std::vector<std::string> languages;
  for (NSString* language in NSLocale.preferredLanguages) {
    const std::string name = macos::textOf(language);
    languages.push_back(name);
    // "pt-BR" also reads tables for "pt", "zh-Hans-CN" those for "zh-Hans" and "zh".
    for (auto hyphen = name.rfind('-'); hyphen != std::string::npos && hyphen > 0;
         hyphen = name.rfind('-', hyphen - 1)) {
      languages.push_back(name.substr(0, hyphen));
    }
  }
  languages.emplace_back("en");
  languages.emplace_back("Base");
  return languages;
}

std::optional<std::string> preferredUserLanguage() {
  NSString* language = NSLocale.preferredLanguages.firstObject;
  if (language == nil) return std::nullopt;
  return macos::textOf([NSLocale localeWithLocaleIdentifier:language].languageCode);
}

}  // namespace pellam

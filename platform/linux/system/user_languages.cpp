#include "platform/user_languages.h"

#include <cstdlib>

namespace pellam {

namespace {

void appendVariants(std::string language, std::vector<std::string>& languages) {
  language = language.substr(0, language.find_first_of(".@"));
  if (language.empty() || language == "C" || language == "POSIX") return;
  for (char& c : language) {
    if (c == '_') c = '-';
  }
  languages.push_back(language);
  // Chinese tables are named by script, the environment names the region.
  if (language == "zh-CN" || language == "zh-SG") languages.emplace_back("zh-Hans");
  if (language == "zh-TW" || language == "zh-HK" || language == "zh-MO") languages.emplace_back("zh-Hant");
  if (const auto hyphen = language.find('-'); hyphen != std::string::npos) {
    languages.push_back(language.substr(0, hyphen));
  }
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// What the environment states, the preferred one first.
std::vector<std::string> statedLanguages() {
  std::vector<std::string> languages;
  std::string locale = variable("LC_ALL");
  if (locale.empty()) locale = variable("LC_MESSAGES");
  if (locale.empty()) locale = variable("LANG");
  // As for every program of the system, the list in LANGUAGE counts only outside the "C" locale.
  if (!locale.empty() && locale != "C" && locale != "POSIX") {
    std::string list = variable("LANGUAGE");
    while (!list.empty()) {
      const auto colon = list.find(':');
      appendVariants(list.substr(0, colon), languages);
      list = colon == std::string::npos ? "" : list.substr(colon + 1);
    }
  }
  appendVariants(locale, languages);
  return languages;
}

}  // namespace

std::vector<std::string> userLanguages() {
  std::vector<std::string> languages = statedLanguages();
  languages.emplace_back("en");
  languages.emplace_back("Base");
  return languages;
}

std::optional<std::string> preferredUserLanguage() {
  const std::vector<std::string> languages = statedLanguages();
  if (languages.empty()) return std::nullopt;
  return languages.front().substr(0, languages.front().find('-'));
}

}  // namespace pellam

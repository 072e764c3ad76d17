#include "foundation/user_agent.h"

#include <string_view>

namespace pellam {

namespace {

std::string token(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view marks = "!#$&'*+-.^_`|~";
  std::string result;
  for (const char c : text) {
    const bool isLetterOrDigit = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (isLetterOrDigit || marks.find(c) != std::string_view::npos) {
      result += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    result += '%';
    result += digits[byte >> 4U];
    result += digits[byte & 15U];
  }
  return result;
}

}  // namespace

std::string userAgentText(const PellamAppIdentity& application) {
  std::string text =
      token(application.displayName.empty() ? application.bundleIdentifier : application.displayName);
  if (!application.versionString.empty()) text += "/" + token(application.versionString);
  return text;
}

}  // namespace pellam

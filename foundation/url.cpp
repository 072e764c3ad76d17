#include "pellam/url.h"

#include <algorithm>

#include "text/ascii.h"

namespace pellam {

namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isUnreservedOrSubDelimiter(char c) {
  return isAlpha(c) || isDigit(c) || std::string_view("-._~!$&'()*+,;=").find(c) != std::string_view::npos;
}

// Every character is unreserved, a sub-delimiter, one of `extra`, or part of a complete percent escape.
bool isWellFormed(std::string_view text, std::string_view extra) {
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char c = text[index];
    if (c == '%') {
      if (index + 2 >= text.size() || hexValue(text[index + 1]) < 0 || hexValue(text[index + 2]) < 0)
        return false;
      index += 2;
    } else if (!isUnreservedOrSubDelimiter(c) && extra.find(c) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

std::optional<std::string> parseHost(std::string_view authority) {
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
    if (!isWellFormed(authority.substr(0, at), ":")) return std::nullopt;
    authority.remove_prefix(at + 1);
  }
  std::string_view host = authority;
  std::string_view port;
  if (!authority.empty() && authority.front() == '[') {
    const auto close = authority.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    host = authority.substr(0, close + 1);
    port = authority.substr(close + 1);
    if (!isWellFormed(host.substr(1, host.size() - 2), ":")) return std::nullopt;
    if (!port.empty() && port.front() != ':') return std::nullopt;
  } else {
    const auto colon = authority.find(':');
    host = authority.substr(0, colon);
    port = colon == std::string_view::npos ? std::string_view() : authority.substr(colon);
    if (!isWellFormed(host, "")) return std::nullopt;
  }
  if (!port.empty() && !std::all_of(port.begin() + 1, port.end(), isDigit)) return std::nullopt;
  return std::string(host);
}

}  // namespace

std::optional<URL> URL::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  URL url;
  url.text_ = text;
  std::string_view rest = text;

  const auto delimiter = rest.find_first_of(":/?#");
  if (delimiter != std::string_view::npos && rest[delimiter] == ':') {
    const std::string_view scheme = rest.substr(0, delimiter);
    const auto isSchemeCharacter = [](char c) {
      return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    };
    if (scheme.empty() || !isAlpha(scheme.front()) ||
        !std::all_of(scheme.begin(), scheme.end(), isSchemeCharacter)) {
      return std::nullopt;
    }
    url.scheme_ = text::lowercasedASCII(scheme);
    rest.remove_prefix(delimiter + 1);
  }

  std::string_view fragment;
  if (const auto hash = rest.find('#'); hash != std::string_view::npos) {
    fragment = rest.substr(hash + 1);
    rest = rest.substr(0, hash);
  }
  std::string_view query;
  if (const auto mark = rest.find('?'); mark != std::string_view::npos) {
    query = rest.substr(mark + 1);
    rest = rest.substr(0, mark);
  }
  if (!isWellFormed(fragment, ":@/?") || !isWellFormed(query, ":@/?")) return std::nullopt;

  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const std::string_view authority = rest.substr(0, rest.find('/'));
    const std::optional<std::string> host = parseHost(authority);
    if (!host) return std::nullopt;
    url.host_ = *host;
    rest.remove_prefix(authority.size());
  }
  if (!isWellFormed(rest, ":@/")) return std::nullopt;
  url.path_ = rest;
  return url;
}

std::optional<URL> URL::parseLeniently(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  // A bracket belongs to the host's address alone.
  const auto colon = std::min(text.find_first_of(":/?#"), text.size());
  const auto hostBegin = text.substr(colon).starts_with("://") ? colon + 3 : text.size();
  const auto hostEnd = std::min(text.find_first_of("/?#", hostBegin), text.size());
  const auto fragment = text.find('#');
  std::string encoded;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char c = text[index];
    const bool isInHost = index >= hostBegin && index < hostEnd;
    const bool isEscape = c == '%' && index + 2 < text.size() && hexValue(text[index + 1]) >= 0 &&
                          hexValue(text[index + 2]) >= 0;
    const bool isBracket = isInHost && (c == '[' || c == ']');
    if (isEscape || isBracket || isUnreservedOrSubDelimiter(c) || index == fragment ||
        std::string_view(":@/?").find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += digits[byte >> 4U];
    encoded += digits[byte & 15U];
  }
  return parse(encoded);
}

std::string URL::publicText() const {
  const std::size_t end = std::min(text_.find_first_of("?#"), text_.size());
  std::string shown = text_.substr(0, end);
  const std::size_t authority = shown.find("//");
  if (authority == std::string::npos || host_.empty()) return shown;
  const std::size_t path = std::min(shown.find('/', authority + 2), shown.size());
  const std::size_t user = shown.substr(0, path).rfind('@');
  if (user != std::string::npos) shown.erase(authority + 2, user + 1 - (authority + 2));
  return shown;
}

std::string URL::lastPathComponent() const {
  std::string_view path = path_;
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  if (path == "/") return "/";
  if (const auto slash = path.rfind('/'); slash != std::string_view::npos) path.remove_prefix(slash + 1);
  std::string decoded;
  for (std::size_t index = 0; index < path.size(); ++index) {
    if (path[index] == '%') {
      decoded += static_cast<char>(hexValue(path[index + 1]) * 16 + hexValue(path[index + 2]));
      index += 2;
    } else {
      decoded += path[index];
    }
  }
  return decoded;
}

}  // namespace pellam

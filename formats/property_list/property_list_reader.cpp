#include "platform/property_list.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "formats/property_list/property_list_parsers.h"
#include "text/unicode_text.h"

namespace pellam::property_list {

namespace {

constexpr bool isSpace(char unit) { return unit == ' ' || (unit >= '\t' && unit <= '\r'); }

bool isHexDigit(char unit) {
  return (unit >= '0' && unit <= '9') || (unit >= 'a' && unit <= 'f') || (unit >= 'A' && unit <= 'F');
}

std::string decodeUTF16(std::span<const std::uint8_t> bytes, std::endian order) {
  if (bytes.size() % 2 != 0) throw PropertyListReadError("UTF-16 text with an odd number of bytes");
  const auto unitAt = [&](std::size_t index) {
    const unsigned first = bytes[index];
    const unsigned second = bytes[index + 1];
    return static_cast<char32_t>(order == std::endian::big ? first << 8 | second : second << 8 | first);
  };
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t index = 0; index < bytes.size(); index += 2) {
    char32_t scalar = unitAt(index);
    if (scalar >= 0xD800 && scalar < 0xE000) {
      const char32_t low = scalar < 0xDC00 && index + 2 < bytes.size() ? unitAt(index + 2) : 0;
      if (low < 0xDC00 || low >= 0xE000) {
        throw PropertyListReadError("unpaired surrogate in UTF-16 text at offset " + std::to_string(index));
      }
      scalar = 0x10000 + ((scalar - 0xD800) << 10) + (low - 0xDC00);
      index += 2;
    }
    appendUTF8(text, scalar);
  }
  return text;
}

// The name in the XML declaration's encoding attribute, in lower case; empty without one.
std::string declaredEncoding(std::string_view text) {
  if (!text.starts_with("<?xml")) return {};
  const std::string_view declaration = text.substr(0, std::min(text.find("?>"), text.size()));
  std::size_t place = declaration.find("encoding");
  if (place == std::string_view::npos) return {};
  place = declaration.find_first_of("\"'", place);
  if (place == std::string_view::npos) return {};
  const std::size_t end = declaration.find(declaration[place], place + 1);
  return end == std::string_view::npos ? std::string()
                                       : text::lowercased(declaration.substr(place + 1, end - place - 1));
}

bool startsWith(std::span<const std::uint8_t> bytes, std::string_view prefix) {
  return bytes.size() >= prefix.size() && std::memcmp(bytes.data(), prefix.data(), prefix.size()) == 0;
}

// The document in UTF-8 when it is written in another encoding.
std::optional<std::string> transcoded(std::span<const std::uint8_t> bytes) {
  using std::string_view_literals::operator""sv;
  if (startsWith(bytes, "\xFE\xFF")) return decodeUTF16(bytes.subspan(2), std::endian::big);
  if (startsWith(bytes, "\xFF\xFE")) return decodeUTF16(bytes.subspan(2), std::endian::little);
  if (startsWith(bytes, "\0<"sv)) return decodeUTF16(bytes, std::endian::big);
  if (startsWith(bytes, "<\0"sv)) return decodeUTF16(bytes, std::endian::little);

  const std::string encoding = declaredEncoding({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  if (encoding == "iso-8859-1" || encoding == "latin1") {
    std::string text;
    for (const std::uint8_t byte : bytes) appendUTF8(text, byte);
    return text;
  }
  if (!encoding.empty() && encoding != "utf-8" && encoding != "utf8" && encoding != "us-ascii") {
    throw PropertyListReadError("unsupported encoding \"" + text::truncatedToCharacters(encoding, 40) + "\"");
  }
  return std::nullopt;
}

}  // namespace

DecodedText::DecodedText(std::span<const std::uint8_t> bytes) {
  if (startsWith(bytes, "\xEF\xBB\xBF")) bytes = bytes.subspan(3);
  owned_ = transcoded(bytes);
  if (owned_) return;
  borrowed_ = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  if (!text::isValidUTF8(borrowed_)) throw PropertyListReadError("the text is not valid UTF-8");
}

bool looksLikeXML(std::string_view text) {
  const auto start = std::find_if_not(text.begin(), text.end(), isSpace);
  if (start == text.end() || *start != '<') return false;
  const auto end =
      std::find_if_not(start + 1, text.end(), [](char c) { return isHexDigit(c) || isSpace(c); });
  return end == text.end() || *end != '>';
}

void appendUTF8(std::string& text, char32_t scalar) {
  const auto add = [&](char32_t unit) { text.push_back(static_cast<char>(unit)); };
  if (scalar < 0x80) return add(scalar);
  if (scalar < 0x800) {
    add(0xC0 | scalar >> 6);
  } else {
    if (scalar < 0x10000) {
      add(0xE0 | scalar >> 12);
    } else {
      add(0xF0 | scalar >> 18);
      add(0x80 | (scalar >> 12 & 0x3F));
    }
    add(0x80 | (scalar >> 6 & 0x3F));
  }
  add(0x80 | (scalar & 0x3F));
}

std::optional<PropertyListData> decodeBase64(std::string_view text) {
  const auto sextet = [](char unit) -> int {
    if (unit >= 'A' && unit <= 'Z') return unit - 'A';
    if (unit >= 'a' && unit <= 'z') return unit - 'a' + 26;
    if (unit >= '0' && unit <= '9') return unit - '0' + 52;
    return unit == '+' ? 62 : unit == '/' ? 63 : -1;
  };
  PropertyListData data;
  data.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int count = 0;
  int padding = 0;
  for (const char unit : text) {
    if (isSpace(unit)) continue;
    if (unit == '=') {
      ++padding;
      continue;
    }
    const int value = sextet(unit);
    if (value < 0 || padding > 0) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    if (++count % 4 == 0) {
      for (const int shift : {16, 8, 0}) data.push_back(static_cast<std::uint8_t>(bits >> shift));
    }
  }
  const int rest = count % 4;
  if (rest == 1 || padding > 2 || (padding > 0 && rest + padding != 4)) return std::nullopt;
  if (rest >= 2) data.push_back(static_cast<std::uint8_t>(rest == 2 ? bits >> 4 : bits >> 10));
  if (rest == 3) data.push_back(static_cast<std::uint8_t>(bits >> 2));
  return data;
}

void failAtLine(std::string_view document, const char* place, std::string_view what) {
  const auto line = std::count(document.data(), place, '\n') + 1;
  throw PropertyListReadError(std::string(what) + " on line " + std::to_string(line));
}

PropertyListValue read(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) throw PropertyListReadError("the property list is empty");
  if (startsWith(bytes, "bplist0")) return parseBinary(bytes);
  const DecodedText decoded(bytes);
  return looksLikeXML(decoded.text()) ? parseXML(decoded.text()) : parseOldStyle(decoded.text());
}

}  // namespace pellam::property_list

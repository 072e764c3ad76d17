#include <algorithm>
#include <array>
#include <optional>

#include "formats/property_list/property_list_limits.h"
#include "formats/property_list/property_list_parsers.h"
#include "platform/property_list.h"

namespace pellam::property_list {

namespace {

// What an escape "\200" to "\377" means: the upper half of the character set of the form's inventors.
constexpr std::array<char16_t, 128> nextStepUpperHalf{
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC,
    0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9, 0x00DA, 0x00DB,
    0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192,
    0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x00AE, 0x2013, 0x2020, 0x2021,
    0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9,
    0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD,
    0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5,
    0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB,
    0x0131, 0x00FC, 0x00FD, 0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD};

int digitValue(char unit) {
  if (unit >= '0' && unit <= '9') return unit - '0';
  if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
  if (unit >= 'A' && unit <= 'F') return unit - 'A' + 10;
  return 16;
}

bool isUnquoted(char unit) {
  return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') || (unit >= '0' && unit <= '9') ||
         std::string_view("_$/:.-").find(unit) != std::string_view::npos;
}

// { key = value; } ( a, b ) <0fbd77> "text" text, and a strings table: the inside of a dictionary without its
// braces. Comments are those of C and C++.
class Parser {
 public:
  explicit Parser(std::string_view document) : document_(document) {}

  PropertyListValue parse() {
    skipBetween();
    if (isAtEnd()) return PropertyListDictionary();  // a strings table without entries
    if (isStringStart()) {
      const std::size_t start = at_;
      std::string text = readString();
      skipBetween();
      if (isAtEnd()) return text;
      at_ = start;
      return readEntries(1);
    }
    PropertyListValue root = readValue(1);
    skipBetween();
    if (!isAtEnd()) fail("content after the end of the property list");
    return root;
  }

 private:
  [[noreturn]] void fail(std::string_view what) const { failAtLine(document_, document_.data() + at_, what); }
  [[nodiscard]] bool isAtEnd() const { return at_ == document_.size(); }
  [[nodiscard]] bool isAt(char unit) const { return !isAtEnd() && document_[at_] == unit; }
  [[nodiscard]] bool isStringStart() const {
    return !isAtEnd() && (isUnquoted(document_[at_]) || isAt('"') || isAt('\''));
  }

  void skipBetween() {
    while (!isAtEnd()) {
      const char unit = document_[at_];
      const std::string_view rest = document_.substr(at_);
      if (unit == ' ' || (unit >= '\t' && unit <= '\r')) {
        ++at_;
      } else if (rest.starts_with("\u2028") || rest.starts_with("\u2029")) {
        at_ += 3;
      } else if (rest.starts_with("//")) {
        at_ += std::min(rest.find_first_of("\n\r"), rest.size());
      } else if (rest.starts_with("/*")) {
        const std::size_t end = rest.find("*/", 2);
        if (end == std::string_view::npos) fail("unterminated comment");
        at_ += end + 2;
      } else {
        return;
      }
    }
  }

  void expect(char unit, std::string_view what) {
    skipBetween();
    if (!isAt(unit)) fail(what);
    ++at_;
  }

  PropertyListValue readValue(int depth) {
    if (isStringStart()) return readString();
    if (depth > maximumDepth) fail("nested more than 128 levels deep");
    if (isAt('{')) {
      ++at_;
      PropertyListDictionary dictionary = readEntries(depth);
      expect('}', "\"}\" is missing");
      return dictionary;
    }
    if (isAt('(')) {
      ++at_;
      return readArray(depth);
    }
    if (isAt('<')) {
      ++at_;
      return readData();
    }
    fail(isAtEnd() ? "unexpected end" : "a value should begin here");
  }

  // Up to "}" or the end. A key alone stands for itself.
  PropertyListDictionary readEntries(int depth) {
    std::vector<PropertyListDictionary::Entry> entries;
    for (skipBetween(); !isAtEnd() && !isAt('}'); skipBetween()) {
      if (!isStringStart()) fail("a key should begin here");
      std::string key = readString();
      skipBetween();
      PropertyListValue value = key;
      if (isAt('=')) {
        ++at_;
        skipBetween();
        value = readValue(depth + 1);
      }
      expect(';', "\";\" is missing after a dictionary's value");
      entries.emplace_back(std::move(key), std::move(value));
    }
    if (depth == 1 && isAt('}') && !startsWithBrace()) fail("\"}\" without \"{\"");
    return PropertyListDictionary(std::move(entries));
  }

  [[nodiscard]] bool startsWithBrace() {
    const std::size_t place = std::exchange(at_, 0);
    skipBetween();
    const bool result = isAt('{');
    at_ = place;
    return result;
  }

  PropertyListArray readArray(int depth) {
    PropertyListArray array;
    for (;;) {
      skipBetween();
      if (isAt(')')) break;
      array.push_back(readValue(depth + 1));
      skipBetween();
      if (isAt(')')) break;
      expect(',', "\",\" or \")\" is missing in an array");
    }
    ++at_;
    return array;
  }

  PropertyListData readData() {
    PropertyListData data;
    for (;;) {
      skipBetween();
      if (isAt('>')) break;
      const int high = isAtEnd() ? 16 : digitValue(document_[at_]);
      const int low = at_ + 1 >= document_.size() ? 16 : digitValue(document_[at_ + 1]);
      if (high > 15 || low > 15) fail("data that is not pairs of hexadecimal digits");
      data.push_back(static_cast<std::uint8_t>(high * 16 + low));
      at_ += 2;
    }
    ++at_;
    return data;
  }

  std::string readString() {
    std::string text;
    if (isUnquoted(document_[at_])) {
      const std::size_t start = at_;
      while (!isAtEnd() && isUnquoted(document_[at_])) ++at_;
      return std::string(document_.substr(start, at_ - start));
    }
    const char quote = document_[at_++];
    while (!isAt(quote)) {
      if (isAtEnd()) fail("unterminated string");
      const char unit = document_[at_++];
      if (unit != '\\') {
        text.push_back(unit);
      } else {
        readEscape(text);
      }
    }
    ++at_;
    return text;
  }

  void readEscape(std::string& text) {
    if (isAtEnd()) fail("unterminated string");
    const char unit = document_[at_++];
    constexpr std::string_view letters = "abfnrtv";
    constexpr std::string_view controls = "\a\b\f\n\r\t\v";
    if (const std::size_t place = letters.find(unit); place != std::string_view::npos) {
      text.push_back(controls[place]);
    } else if (unit == 'U' || unit == 'u') {
      char32_t scalar = readNumber(4, 16);
      if (scalar >= 0xD800 && scalar < 0xDC00 && document_.substr(at_, 2) == "\\U") {
        at_ += 2;
        const char32_t low = readNumber(4, 16);
        if (low < 0xDC00 || low >= 0xE000) fail("unpaired surrogate in an escape");
        scalar = 0x10000 + ((scalar - 0xD800) << 10) + (low - 0xDC00);
      } else if (scalar >= 0xD800 && scalar < 0xE000) {
        fail("unpaired surrogate in an escape");
      }
      appendUTF8(text, scalar);
    } else if (unit >= '0' && unit <= '7') {
      --at_;
      const char32_t code = readNumber(3, 8) & 0xFF;
      appendUTF8(text, code < 0x80 ? code : nextStepUpperHalf[code - 0x80]);
    } else {
      text.push_back(unit);  // "\"", "\\", "\'" and any other character stand for themselves
    }
  }

  char32_t readNumber(int longest, int base) {
    char32_t value = 0;
    int count = 0;
    while (count < longest && !isAtEnd() && digitValue(document_[at_]) < base) {
      value = value * static_cast<char32_t>(base) + static_cast<char32_t>(digitValue(document_[at_++]));
      ++count;
    }
    if (count == 0) fail("an escape without digits");
    return value;
  }

  std::string_view document_;
  std::size_t at_ = 0;
};

}  // namespace

PropertyListValue parseOldStyle(std::string_view text) { return Parser(text).parse(); }

}  // namespace pellam::property_list

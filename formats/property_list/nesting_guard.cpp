#include "formats/property_list/nesting_guard.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "formats/property_list/binary_list_nesting.h"

namespace pellam {

namespace {

using namespace std::string_view_literals;

constexpr char other = '\x01';  // any character outside ASCII

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
         c == '.' || c == ':' || c == other;
}

// The document with one character for each of its own, so that the halves of a wide one stand for nothing.
std::string narrowed(std::span<const std::uint8_t> bytes) {
  const auto at = [&](std::size_t index) { return index < bytes.size() ? bytes[index] : 1U; };
  const bool isBigEndian = (at(0) == 0xFE && at(1) == 0xFF) || at(0) == 0;
  const bool isLittleEndian = (at(0) == 0xFF && at(1) == 0xFE) || at(1) == 0;
  std::string text;
  if (!isBigEndian && !isLittleEndian) {
    text.assign(bytes.begin(), bytes.end());
    return text;
  }
  for (std::size_t index = 0; index + 1 < bytes.size(); index += 2) {
    const unsigned unit =
        isBigEndian ? bytes[index] * 256U + bytes[index + 1] : bytes[index + 1] * 256U + bytes[index];
    text += unit < 0x80 ? static_cast<char>(unit) : other;
  }
  return text;
}

// True unless the first markup is old-style data ("<0fbd77>").
bool isXML(std::string_view text) {
  const std::size_t start = text.find('<');
  if (start == std::string_view::npos || text.substr(0, start).find_first_of("{(\"'=;") != text.npos)
    return false;
  const auto end = std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(start) + 1, text.end(),
                                    [](char c) { return isHexDigit(c) || isSpace(c); });
  return end == text.end() || *end != '>';
}

// Counts what is open. A closing mark never leads below nothing.
class Depth {
 public:
  explicit Depth(int levels) : levels_(levels) {}
  void open() { isExceeded_ = ++depth_ > levels_ || isExceeded_; }
  void close() { depth_ = std::max(0, depth_ - 1); }
  [[nodiscard]] bool isExceeded() const { return isExceeded_; }

 private:
  int levels_;
  int depth_ = 0;
  bool isExceeded_ = false;
};

// True, and the text moved behind it, when the text begins with `start` and ends with `end` somewhere.
bool skipped(std::string_view& text, std::string_view start, std::string_view end) {
  if (!text.starts_with(start)) return false;
  const std::size_t found = text.find(end, start.size());
  text.remove_prefix(found == text.npos ? text.size() : found + end.size());
  return true;
}

bool isContainer(std::string_view name) {
  for (const std::string_view container : {"dict"sv, "array"sv}) {
    if (name.starts_with(container) &&
        (name.size() == container.size() || !isNameCharacter(name[container.size()])))
      return true;
  }
  return false;
}

// Where tags end. Many may begin before one ">", so it is looked for once for all of them.
class TagEnds {
 public:
  explicit TagEnds(std::string_view document) : document_(document) {}

  // The text up to the next ">", or what is left without one.
  [[nodiscard]] std::string_view tagAt(std::size_t start) {
    if (start > end_ || end_ == 0) {
      end_ = std::min(document_.find('>', start), document_.size());
      const std::size_t quote = document_.substr(start, end_ - start).find_last_of("\"'");
      behindLastQuote_ = quote == document_.npos ? 0 : start + quote + 1;
    }
    return document_.substr(start, end_ - start);
  }
  // Whether that text, from the same start, has quotes in it.
  [[nodiscard]] bool isQuoted(std::size_t start) const { return start < behindLastQuote_; }

 private:
  std::string_view document_;
  std::size_t end_ = 0;
  std::size_t behindLastQuote_ = 0;
};

bool elementsNest(std::string_view document, int levels) {
  Depth depth(levels);
  TagEnds ends(document);
  for (std::string_view text = document; !depth.isExceeded(); text.remove_prefix(1)) {
    text.remove_prefix(std::min(text.find('<'), text.size()));
    while (skipped(text, "<!--", "-->") || skipped(text, "<![CDATA[", "]]>") || skipped(text, "<?", "?>")) {
      text.remove_prefix(std::min(text.find('<'), text.size()));
    }
    if (text.empty()) break;
    const std::size_t start = document.size() - text.size();
    const std::string_view tag = ends.tagAt(start);
    if (tag.starts_with("</") && isContainer(tag.substr(2))) depth.close();
    // With quotes in it, what looks like the end of an empty element may be text.
    const bool isEmpty = tag.ends_with('/') && !ends.isQuoted(start);
    if (isContainer(tag.substr(1)) && !isEmpty) depth.open();
  }
  return depth.isExceeded();
}

bool bracketsNest(std::string_view text, int levels) {
  Depth depth(levels);
  char previous = ' ';
  for (std::size_t at = 0; at < text.size() && !depth.isExceeded(); previous = text[at], ++at) {
    const char c = text[at];
    if (c == '{' || c == '(') depth.open();
    if (c == '}' || c == ')') depth.close();
    if (c == '"' || c == '\'') {
      for (++at; at < text.size() && text[at] != c; ++at) {
        if (text[at] == '\\') ++at;
      }
    } else if (c == '/' && !isNameCharacter(previous) && previous != '/' && previous != '$') {
      // What opens in a comment counts as well, what closes there does not: so nothing hides behind a comment
      // that the reader takes for something else.
      const std::string_view rest = text.substr(at);
      const bool isBlock = rest.starts_with("/*");
      if (!isBlock && !rest.starts_with("//")) continue;
      const std::size_t end = isBlock ? rest.find("*/", 2) : rest.find_first_of("\r\n");
      const std::string_view comment = rest.substr(0, end);
      for (const char inside : comment) {
        if (inside == '{' || inside == '(') depth.open();
      }
      at += std::min(comment.size() + (isBlock ? 1 : 0), rest.size()) - 1;
    }
    if (at >= text.size()) break;
  }
  return depth.isExceeded();
}

}  // namespace

bool listNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels) {
  const std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (raw.starts_with("bplist"sv)) return binaryListNestsDeeperThan(bytes, levels);
  const std::string text = narrowed(bytes);
  return isXML(text) ? elementsNest(text, levels) : bracketsNest(text, levels);
}

bool listNestsDeeperThan(const PropertyListValue& value, int levels) {
  if (levels == 0) return true;
  if (const PropertyListArray* array = value.array()) {
    for (const PropertyListValue& element : *array) {
      if (listNestsDeeperThan(element, levels - 1)) return true;
    }
  }
  if (const PropertyListDictionary* dictionary = value.dictionary()) {
    for (const auto& [key, element] : *dictionary) {
      if (listNestsDeeperThan(element, levels - 1)) return true;
    }
  }
  return false;
}

}  // namespace pellam

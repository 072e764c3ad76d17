#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "formats/property_list/dictionary_shapes.h"
#include "formats/property_list/property_list_limits.h"
#include "formats/property_list/property_list_parsers.h"
#include "formats/property_list/text_arena.h"
#include "foundation/date_text.h"
#include "foundation/decimal.h"
#include "foundation/real_number.h"
#include "platform/property_list.h"

namespace pellam::property_list {

namespace {

enum class Element { plist, dictionary, array, string, key, integer, real, date, data, yes, no };

struct ElementName {
  std::string_view name;
  Element element;
};
constexpr std::array<ElementName, 11> elementNames{{{"key", Element::key},
                                                    {"string", Element::string},
                                                    {"dict", Element::dictionary},
                                                    {"array", Element::array},
                                                    {"integer", Element::integer},
                                                    {"true", Element::yes},
                                                    {"false", Element::no},
                                                    {"date", Element::date},
                                                    {"real", Element::real},
                                                    {"data", Element::data},
                                                    {"plist", Element::plist}}};

bool isSpace(char unit) { return unit == ' ' || unit == '\n' || unit == '\t' || unit == '\r'; }

std::string_view withoutSpace(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

struct Tag {
  Element element;
  std::string_view name;
  bool isEmpty;  // "<name/>"
};

// One pass over a buffer of valid UTF-8. Texts without references and CDATA sections are copied once,
// straight into the value. Line ends inside texts stay as they are.
class Parser {
 public:
  explicit Parser(std::string_view document)
      : document_(document),
        at_(document.data()),
        end_(document.data() + document.size()),
        texts_(document.size()) {}

  PropertyListValue parse() {
    skipProlog();
    PropertyListValue root;
    const Tag tag = readTag();
    if (tag.element == Element::plist) {
      if (tag.isEmpty) fail("the property list holds no value");
      skipBetween();
      if (isAt("</")) fail("the property list holds no value");
      readValue(readTag(), root, 1);
      skipBetween();
      if (!isAt("</")) fail("the property list holds more than one value");
      readClosingTag(tag.name);
    } else {
      readValue(tag, root, 1);
    }
    skipBetween();
    if (at_ != end_) fail("content after the end of the property list");
    return root;
  }

 private:
  [[noreturn]] void fail(std::string_view what) const { failAtLine(document_, at_, what); }

  [[nodiscard]] std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

  [[nodiscard]] bool isAt(std::string_view token) const {
    return left() >= token.size() && std::memcmp(at_, token.data(), token.size()) == 0;
  }

  [[nodiscard]] const char* find(char unit) const {
    return static_cast<const char*>(std::memchr(at_, unit, left()));
  }

  // Moves behind the next occurrence of the token.
  void skipPast(std::string_view token, std::string_view what) {
    const std::size_t found = std::string_view(at_, left()).find(token);
    if (found == std::string_view::npos) fail(what);
    at_ += found + token.size();
  }

  // White space, comments and processing instructions.
  void skipBetween() {
    for (;;) {
      while (at_ != end_ && isSpace(*at_)) ++at_;
      if (left() < 2 || at_[0] != '<' || (at_[1] != '!' && at_[1] != '?')) return;
      if (isAt("<!--")) {
        at_ += 4;
        skipPast("-->", "unterminated comment");
      } else if (at_[1] == '?') {
        skipPast("?>", "unterminated processing instruction");
      } else {
        return;
      }
    }
  }

  void skipProlog() {
    skipBetween();
    if (!isAt("<!DOCTYPE")) return;
    // Quoted texts may hold any character; a declaration of entities could expand without bound.
    int brackets = 0;
    while (at_ != end_) {
      if (*at_ == '"' || *at_ == '\'') {
        const char quote = *at_++;
        skipPast(std::string_view(&quote, 1), "unterminated document type");
        continue;
      }
      if (isAt("<!--")) {
        skipBetween();
        continue;
      }
      if (isAt("<!ENTITY")) fail("entity declarations are not allowed");
      if (*at_ == '[') ++brackets;
      if (*at_ == ']') --brackets;
      if (*at_ == '>' && brackets <= 0) {
        ++at_;
        return skipBetween();
      }
      ++at_;
    }
    fail("unterminated document type");
  }

  Tag readTag() {
    if (at_ == end_ || *at_ != '<')
      fail(at_ == end_ ? "unexpected end" : "text where an element should begin");
    const char* start = ++at_;
    while (at_ != end_ && *at_ != '>' && *at_ != '/' && !isSpace(*at_)) ++at_;
    const std::string_view name(start, static_cast<std::size_t>(at_ - start));
    for (const ElementName& candidate : elementNames) {
      if (candidate.name == name) return {candidate.element, candidate.name, finishTag()};
    }
    at_ = start;
    fail(name.empty() ? "an element should begin here"
                      : "unknown element \"" + std::string(name.substr(0, 40)) + "\"");
  }

  // Skips attributes; true when the element is empty.
  bool finishTag() {
    if (at_ != end_ && *at_ == '>') {
      ++at_;
      return false;
    }
    while (at_ != end_ && *at_ != '>') {
      if (*at_ == '<') fail("unterminated tag");
      if (*at_ == '"' || *at_ == '\'') {
        const char quote = *at_++;
        skipPast(std::string_view(&quote, 1), "unterminated attribute");
      } else {
        ++at_;
      }
    }
    if (at_ == end_) fail("unterminated tag");
    return *(at_++ - 1) == '/';
  }

  void readClosingTag(std::string_view name) {
    if (isAt("</")) {
      const char* close = at_ + 2;
      if (static_cast<std::size_t>(end_ - close) > name.size() &&
          std::memcmp(close, name.data(), name.size()) == 0) {
        close += name.size();
        while (close != end_ && isSpace(*close)) ++close;
        if (close != end_ && *close == '>') {
          at_ = close + 1;
          return;
        }
      }
    }
    fail("\"</" + std::string(name) + ">\" is missing");
  }

  // The text up to the closing tag. Points into the document or into the scratch buffer.
  std::string_view readText(const Tag& tag) {
    if (tag.isEmpty) return {};
    const char* start = at_;
    const char* stop = find('<');
    if (stop == nullptr) fail("\"</" + std::string(tag.name) + ">\" is missing");
    const std::string_view plain(start, static_cast<std::size_t>(stop - start));
    if (stop + 1 != end_ && stop[1] == '/' && std::memchr(start, '&', plain.size()) == nullptr) {
      at_ = stop;
      readClosingTag(tag.name);
      return plain;
    }
    scratch_.clear();
    while (!isAt("</")) {
      if (at_ == end_) fail("\"</" + std::string(tag.name) + ">\" is missing");
      if (*at_ == '&') {
        readReference();
      } else if (isAt("<![CDATA[")) {
        at_ += 9;
        const char* section = at_;
        skipPast("]]>", "unterminated CDATA section");
        scratch_.append(section, at_ - 3);
      } else if (isAt("<!--")) {
        at_ += 4;
        skipPast("-->", "unterminated comment");
      } else if (*at_ == '<') {
        fail("an element inside a text");
      } else {
        const char* run = at_;
        while (at_ != end_ && *at_ != '<' && *at_ != '&') ++at_;
        scratch_.append(run, at_);
      }
    }
    readClosingTag(tag.name);
    return scratch_;
  }

  void readReference() {
    constexpr std::size_t longest = 12;
    const std::string_view rest(at_ + 1, std::min(left() - 1, longest));
    const std::string_view name = rest.substr(0, rest.find(';'));
    if (name.size() == rest.size()) fail("unterminated reference");
    if (name == "lt") {
      scratch_ += '<';
    } else if (name == "gt") {
      scratch_ += '>';
    } else if (name == "amp") {
      scratch_ += '&';
    } else if (name == "quot") {
      scratch_ += '"';
    } else if (name == "apos") {
      scratch_ += '\'';
    } else if (name.starts_with('#')) {
      const bool isHex = name.starts_with("#x") || name.starts_with("#X");
      const std::string_view digits = name.substr(isHex ? 2 : 1);
      std::uint32_t scalar = 0;
      const auto [stop, error] =
          std::from_chars(digits.data(), digits.data() + digits.size(), scalar, isHex ? 16 : 10);
      if (error != std::errc() || stop != digits.data() + digits.size() || scalar == 0 || scalar > 0x10FFFF ||
          (scalar >= 0xD800 && scalar < 0xE000)) {
        fail("a reference to no character");
      }
      appendUTF8(scratch_, scalar);
    } else {
      fail("an entity that is not predefined");
    }
    at_ += name.size() + 2;
  }

  void readValue(const Tag& tag, PropertyListValue& value, int depth) {
    PropertyListValue::Storage& storage = value.storage();
    switch (tag.element) {
      case Element::string:
        storage.emplace<PropertyListText>(texts_.add(readText(tag)));
        return;
      case Element::dictionary:
        storage.emplace<PropertyListDictionary>(readDictionary(tag, depth));
        return;
      case Element::array:
        readArray(tag, storage.emplace<PropertyListArray>(), depth);
        return;
      case Element::integer:
        value = readInteger(tag);
        return;
      case Element::real:
        storage.emplace<double>(readReal(tag));
        return;
      case Element::yes:
      case Element::no:
        if (!withoutSpace(readText(tag)).empty()) fail("a boolean that is not empty");
        storage.emplace<bool>(tag.element == Element::yes);
        return;
      case Element::date: {
        const std::optional<Date> date = parseISO8601(withoutSpace(readText(tag)));
        if (!date) fail("a date that is not of the form YYYY-MM-DDThh:mm:ssZ");
        storage.emplace<Date>(*date);
        return;
      }
      case Element::data: {
        std::optional<PropertyListData> data = decodeBase64(readText(tag));
        if (!data) fail("data that is not base 64");
        storage.emplace<PropertyListData>(std::move(*data));
        return;
      }
      case Element::key:
        fail("a key outside a dictionary");
      case Element::plist:
        fail("a property list inside a property list");
    }
  }

  void checkDepth(int depth) const {
    if (depth > maximumDepth) fail("nested more than 128 levels deep");
  }

  void readArray(const Tag& tag, PropertyListArray& array, int depth) {
    checkDepth(depth);
    if (tag.isEmpty) return;
    for (;;) {
      skipBetween();
      if (isAt("</")) return readClosingTag(tag.name);
      readValue(readTag(), array.emplace_back(), depth + 1);
    }
  }

  PropertyListDictionary readDictionary(const Tag& tag, int depth) {
    checkDepth(depth);
    if (tag.isEmpty) return {};
    // Entries of one list mostly have the same keys; the bound keeps small dictionaries small.
    std::vector<PropertyListValue> values;
    values.reserve(std::min<std::size_t>(shapes_.expectedSize(), 64));
    DictionaryShapes::Keys keys = shapes_.begin();
    for (;;) {
      skipBetween();
      if (isAt("</")) break;
      const Tag keyTag = readTag();
      if (keyTag.element != Element::key) fail("a value without a key in a dictionary");
      keys.add(readText(keyTag));
      skipBetween();
      if (isAt("</")) fail("a key without a value in a dictionary");
      readValue(readTag(), values.emplace_back(), depth + 1);
    }
    readClosingTag(tag.name);
    // Room that was made for the entries of a larger one is given back.
    if (values.capacity() / 2 > values.size()) values.shrink_to_fit();
    return shapes_.dictionary(std::move(keys), std::move(values));
  }

  PropertyListValue readInteger(const Tag& tag) {
    std::string_view text = withoutSpace(readText(tag));
    const std::string_view sign = text.substr(0, text.starts_with('+') || text.starts_with('-') ? 1 : 0);
    const std::string_view digits = text.substr(sign.size());
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
      std::uint64_t magnitude = 0;
      const char* last = digits.data() + digits.size();
      const auto [stop, error] = std::from_chars(digits.data() + 2, last, magnitude, 16);
      if (error == std::errc() && stop == last && digits.size() > 2) {
        constexpr auto limit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (sign == "-" && magnitude <= limit + 1) return static_cast<std::int64_t>(0 - magnitude);
        if (sign != "-" && magnitude <= limit) return static_cast<std::int64_t>(magnitude);
        if (sign != "-") return magnitude;
      }
    } else {
      if (const auto value = parseDecimal<std::int64_t>(text)) return *value;
      if (const auto value = parseDecimal<std::uint64_t>(text)) return *value;
    }
    fail(text.empty() ? "an empty integer" : "an integer that is no number of 64 bits");
  }

  double readReal(const Tag& tag) {
    std::string_view text = withoutSpace(readText(tag));
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    const std::optional<double> value = parseReal(text);
    if (!value) fail("a real that is no number");
    return *value;
  }

  std::string_view document_;
  const char* at_;
  const char* end_;
  std::string scratch_;
  TextArena texts_;
  DictionaryShapes shapes_;
};

}  // namespace

PropertyListValue parseXML(std::string_view text) { return Parser(text).parse(); }

}  // namespace pellam::property_list

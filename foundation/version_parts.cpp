#include "foundation/version_parts.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "text/ascii.h"
#include "text/unicode_text.h"

namespace pellam::version_detail {

namespace {

constexpr std::int32_t largestNumber = std::numeric_limits<std::int32_t>::max();

// What one ASCII character is. White space and punctuation both separate, but only white space can open a
// beta word.
enum class Unit : std::uint8_t { text, digit, punctuation, space };

constexpr std::array<Unit, 128> units = [] {
  std::array<Unit, 128> table{};
  for (std::size_t unit = '0'; unit <= '9'; ++unit) table[unit] = Unit::digit;
  for (std::size_t unit = 0x09; unit <= 0x0D; ++unit) table[unit] = Unit::space;
  table[' '] = Unit::space;
  // The punctuation categories; "$", "+", "<", "=", ">", "^", "`", "|" and "~" are symbols, which are text.
  for (const char mark : std::string_view("!\"#%&'()*,-./:;?@[\\]_{}")) {
    const auto unit = static_cast<unsigned char>(mark);
    table[unit] = Unit::punctuation;
  }
  return table;
}();

inline Unit unitAt(const char* at) { return units[static_cast<unsigned char>(*at) & 0x7F]; }

bool isBetaWord(std::string_view text) {
  return text::equalsIgnoringASCIICase(text, "b") || text::equalsIgnoringASCIICase(text, "d") ||
         text::equalsIgnoringASCIICase(text, "beta");
}

// With `at` behind white space: the first digit of "(beta|b|d)\s*(\d+)" when that matches here, else null.
const char* digitsOfBetaWord(const char* at, const char* end) {
  const char* word = at;
  while (at != end && at - word < 5 && unitAt(at) == Unit::text) ++at;
  if (!isBetaWord({word, static_cast<std::size_t>(at - word)})) return nullptr;
  while (at != end && unitAt(at) == Unit::space) ++at;
  return at != end && unitAt(at) == Unit::digit ? at : nullptr;
}

std::int32_t appendingDigit(std::int32_t number, std::int32_t digit) {
  const std::int64_t longer = std::int64_t{number} * 10 + digit;
  return static_cast<std::int32_t>(std::min<std::int64_t>(longer, largestNumber));
}

// Decimal digits stand in runs of ten that begin at a code ending in 0 or 6 (hexadecimal), except for the
// mathematical ones, which follow each other without a gap.
std::int32_t digitValue(char32_t digit) {
  if (digit >= 0x1D7CE && digit <= 0x1D7FF) return static_cast<std::int32_t>((digit - 0x1D7CE) % 10);
  const auto last = static_cast<std::int32_t>(digit & 0xF);
  return last < 6 || (last < 10 && text::isDecimalDigit(digit & ~char32_t{0xF})) ? last : last - 6;
}

Part::Kind kindOf(std::string_view character) {
  std::size_t offset = 0;
  const char32_t scalar = text::nextScalar(character, offset);
  if (scalar == U'.') return Part::Kind::separator;
  if (text::isDecimalDigit(scalar)) return Part::Kind::number;
  if (text::isWhitespaceOrNewline(scalar) || text::isPunctuation(scalar)) return Part::Kind::separator;
  return Part::Kind::text;
}

// What "\s" of a regular expression matches: the characters with the property White_Space.
bool isExpressionSpace(char32_t scalar) {
  return (scalar >= 0x09 && scalar <= 0x0D) || scalar == 0x20 || scalar == 0x85 || scalar == 0xA0 ||
         scalar == 0x1680 || (scalar >= 0x2000 && scalar <= 0x200A) || scalar == 0x2028 || scalar == 0x2029 ||
         scalar == 0x202F || scalar == 0x205F || scalar == 0x3000;
}

std::size_t endOfSpace(std::string_view text, std::size_t offset) {
  for (std::size_t next = offset; next < text.size(); offset = next) {
    if (!isExpressionSpace(text::nextScalar(text, next))) break;
  }
  return offset;
}

// With `offset` behind white space: where the digits of "(beta|b|d)\s*(\d+)" begin when that matches here.
std::optional<std::size_t> digitsOfBetaWord(std::string_view text, std::size_t offset) {
  std::string_view word = text.substr(offset, 4);
  if (!isBetaWord(word)) word = word.substr(0, 1);
  if (!isBetaWord(word)) return std::nullopt;
  const std::size_t digits = endOfSpace(text, offset + word.size());
  std::size_t next = digits;
  if (digits == text.size() || !text::isDecimalDigit(text::nextScalar(text, next))) return std::nullopt;
  return digits;
}

// The text with plain spaces for no-break ones, and "b" for every "\s+(beta|b|d)\s*" in front of a digit.
// Each run of white space is looked at once: an expression's matcher would begin anew at every space of a
// long run.
std::string normalised(std::string_view text) {
  constexpr std::string_view noBreakSpace = "\u00A0";
  std::string result;
  result.reserve(text.size());
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t start = offset;
    offset = endOfSpace(text, offset);
    if (offset == start) {
      (void)text::nextScalar(text, offset);
      result.append(text.substr(start, offset - start));
    } else if (const std::optional<std::size_t> digits = digitsOfBetaWord(text, offset)) {
      result.push_back('b');
      offset = *digits;
    } else {
      for (std::string_view run = text.substr(start, offset - start); !run.empty();) {
        const bool isNoBreak = run.starts_with(noBreakSpace);
        result.push_back(isNoBreak ? ' ' : run.front());
        run.remove_prefix(isNoBreak ? noBreakSpace.size() : 1);
      }
    }
  }
  return result;
}

// The digits that the text begins with.
std::int32_t leadingInteger(std::string_view text) {
  std::int32_t number = 0;
  for (std::size_t offset = 0; offset < text.size();) {
    const char32_t scalar = text::nextScalar(text, offset);
    if (!text::isDecimalDigit(scalar)) break;
    number = appendingDigit(number, digitValue(scalar));
  }
  return number;
}

}  // namespace

// With white space at hand: where the digits begin when a beta word with its number follows the run, else
// null. What was found out about a run holds for each of its spaces.
const char* ASCIIPartReader::digitsBehindSpace() {
  if (at_ < plainSpaceEnd_) return nullptr;
  const char* runEnd = at_;
  while (runEnd != end_ && unitAt(runEnd) == Unit::space) ++runEnd;
  const char* digits = digitsOfBetaWord(runEnd, end_);
  if (digits == nullptr) plainSpaceEnd_ = runEnd;
  return digits;
}

bool ASCIIPartReader::next(Part& part) {
  if (at_ == end_) return false;
  const char* start = at_;
  switch (unitAt(at_)) {
    case Unit::digit: {
      part.kind = Part::Kind::number;
      // Nine digits cannot overflow; longer runs are rare.
      std::int32_t number = 0;
      for (; at_ != end_ && unitAt(at_) == Unit::digit; ++at_) {
        number = at_ - start < 9 ? number * 10 + (*at_ - '0') : appendingDigit(number, *at_ - '0');
      }
      part.number = number;
      return true;
    }
    case Unit::punctuation:
      part.kind = Part::Kind::separator;
      ++at_;
      return true;
    case Unit::space:
      if (const char* digits = digitsBehindSpace()) {
        part = {Part::Kind::text, 0, {}, true};
        at_ = digits;
        return true;
      }
      part.kind = Part::Kind::separator;
      ++at_;
      if (*start == '\r' && at_ != end_ && *at_ == '\n') ++at_;
      return true;
    case Unit::text:
      break;
  }
  while (at_ != end_ && unitAt(at_) == Unit::text) ++at_;
  part = {Part::Kind::text, 0, {start, static_cast<std::size_t>(at_ - start)}, false};
  if (at_ != end_ && unitAt(at_) == Unit::space) {
    if (const char* digits = digitsBehindSpace()) {
      part.endsWithBeta = true;
      at_ = digits;
    }
  }
  return true;
}

int ASCIIPartReader::compareText(const Part& left, const Part& right) {
  // The text as it counts, in two pieces.
  struct Pieces {
    std::string_view text;
    std::string_view ending;
    explicit Pieces(const Part& part) : text(part.text), ending(part.endsWithBeta ? "b" : "") {
      if (ending.empty() && isBetaWord(text)) text = "b";
    }
    [[nodiscard]] std::size_t size() const { return text.size() + ending.size(); }
    [[nodiscard]] char operator[](std::size_t index) const {
      return index < text.size() ? text[index] : ending[index - text.size()];
    }
  };
  const Pieces a(left);
  const Pieces b(right);
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t index = 0; index < common; ++index) {
    if (a[index] != b[index]) return a[index] < b[index] ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

UnicodePartReader::UnicodePartReader(std::string_view text)
    : normalised_(normalised(text)), characters_(text::characters(normalised_)) {}

bool UnicodePartReader::next(Part& part) {
  if (at_ == characters_.size()) return false;
  const std::string_view first = characters_[at_];
  part = {kindOf(first), 0, first, false};
  ++at_;
  if (part.kind == Part::Kind::separator) return true;
  while (at_ < characters_.size() && kindOf(characters_[at_]) == part.kind) {
    // Characters follow each other without a gap, so the part is one view.
    part.text = {part.text.data(), part.text.size() + characters_[at_].size()};
    ++at_;
  }
  if (part.kind == Part::Kind::number) part.number = leadingInteger(part.text);
  return true;
}

int UnicodePartReader::compareText(const Part& left, const Part& right) {
  const auto counted = [](const Part& part) -> std::string_view {
    const std::string lower = text::lowercased(part.text);
    return lower == "beta" || lower == "b" || lower == "d" ? "b" : part.text;
  };
  return text::compareLiterally(counted(left), counted(right));
}

}  // namespace pellam::version_detail

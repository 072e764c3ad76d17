#include "text/unicode_text.h"
#include "text/ascii.h"

#include <algorithm>
#include <stdexcept>

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/unorm.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utext.h>

#include "platform/linux/text/icu_strings.h"

namespace pellam::text {

namespace {

bool isInCategories(char32_t scalar, std::uint32_t categories) {
  return (U_GET_GC_MASK(static_cast<UChar32>(scalar)) & categories) != 0;
}

bool isASCIILetter(char unit) { return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z'); }

// Opening one costs far more than using it; it keeps no text between uses.
UBreakIterator* characterIterator() {
  thread_local const icu::Owned<UBreakIterator, ubrk_close> iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    return icu::Owned<UBreakIterator, ubrk_close>(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
  }();
  return iterator.get();
}

// Calls `each(start, end)` for every character until it returns false.
template <typename Each>
void eachCharacter(std::string_view text, Each each) {
  const auto isPlain = [&](std::size_t index) { return static_cast<unsigned char>(text[index]) < 0x80; };
  std::size_t start = 0;
  // Between two ASCII characters only CR LF does not break, so ICU is needed from the first other one on.
  while (start < text.size() && isPlain(start)) {
    std::size_t end = start + 1;
    if (end < text.size()) {
      if (!isPlain(end)) break;
      if (text[start] == '\r' && text[end] == '\n') ++end;
    }
    if (end < text.size() && !isPlain(end)) break;
    if (!each(start, end)) return;
    start = end;
  }
  if (start == text.size()) return;

  UBreakIterator* iterator = characterIterator();
  UErrorCode status = U_ZERO_ERROR;
  UText source = UTEXT_INITIALIZER;
  utext_openUTF8(&source, text.data() + start, static_cast<std::int64_t>(text.size() - start), &status);
  ubrk_setUText(iterator, &source, &status);
  std::int32_t from = 0;
  for (std::int32_t to = U_SUCCESS(status) ? ubrk_next(iterator) : UBRK_DONE; to != UBRK_DONE;
       to = ubrk_next(iterator)) {
    if (!each(start + static_cast<std::size_t>(from), start + static_cast<std::size_t>(to))) break;
    from = to;
  }
  status = U_ZERO_ERROR;
  ubrk_setText(iterator, u"", 0, &status);
  utext_close(&source);
}

// ICU sorts the marks on one letter by insertion, so a long run of them costs the square of its length.
bool hasEndlessMarks(std::string_view text) {
  constexpr int limit = 100;  // no script writes thirty
  int marks = 0;
  for (std::size_t offset = 0; offset < text.size() && marks <= limit;) {
    const char32_t scalar = nextScalar(text, offset);
    const bool isMark = scalar >= 0x300 && u_getIntPropertyValue(static_cast<UChar32>(scalar),
                                                                 UCHAR_LEAD_CANONICAL_COMBINING_CLASS) != 0;
    marks = isMark ? marks + 1 : 0;
  }
  return marks > limit;
}

int compareNormalised(std::string_view left, std::string_view right, std::uint32_t options) {
  const std::u16string wideLeft = icu::toUTF16(left);
  const std::u16string wideRight = icu::toUTF16(right);
  UErrorCode status = U_ZERO_ERROR;
  if (hasEndlessMarks(left) || hasEndlessMarks(right)) {
    // Not a text of anybody's: how its marks are composed does not count.
    const std::int32_t order =
        options == U_COMPARE_IGNORE_CASE
            ? u_strCaseCompare(wideLeft.data(), icu::length(wideLeft.size()), wideRight.data(),
                               icu::length(wideRight.size()), U_COMPARE_CODE_POINT_ORDER, &status)
            : u_strCompare(wideLeft.data(), icu::length(wideLeft.size()), wideRight.data(),
                           icu::length(wideRight.size()), 1);
    return U_SUCCESS(status) ? order : wideLeft.compare(wideRight);
  }
  const std::int32_t order =
      unorm_compare(wideLeft.data(), icu::length(wideLeft.size()), wideRight.data(),
                    icu::length(wideRight.size()), options | U_COMPARE_CODE_POINT_ORDER, &status);
  return U_SUCCESS(status) ? order : wideLeft.compare(wideRight);
}

}  // namespace

bool isDecimalDigit(char32_t scalar) {
  return scalar < 0x80 ? scalar >= U'0' && scalar <= U'9' : isInCategories(scalar, U_GC_ND_MASK);
}

bool isLetter(char32_t scalar) {
  return scalar < 0x80 ? isASCIILetter(static_cast<char>(scalar))
                       : isInCategories(scalar, U_GC_L_MASK | U_GC_M_MASK);
}

bool isAlphanumeric(char32_t scalar) {
  return scalar < 0x80 ? isASCIILetter(static_cast<char>(scalar)) || isDecimalDigit(scalar)
                       : isInCategories(scalar, U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK);
}

bool isPunctuation(char32_t scalar) { return isInCategories(scalar, U_GC_P_MASK); }

bool isWhitespaceOrNewline(char32_t scalar) {
  if (scalar < 0x80) return scalar == U' ' || (scalar >= 0x09 && scalar <= 0x0D);
  return scalar == 0x85 || scalar == 0x200B || isInCategories(scalar, U_GC_Z_MASK);
}

std::vector<std::string_view> characters(std::string_view text) {
  std::vector<std::string_view> result;
  result.reserve(text.size());
  eachCharacter(text, [&](std::size_t start, std::size_t end) {
    result.push_back(text.substr(start, end - start));
    return true;
  });
  return result;
}

std::string truncatedToCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return std::string(text);
  std::size_t seen = 0;
  std::size_t cut = 0;
  bool isLonger = false;
  eachCharacter(text, [&](std::size_t, std::size_t end) {
    isLonger = seen == count;
    if (isLonger) return false;
    ++seen;
    cut = end;
    return true;
  });
  std::string result(text.substr(0, isLonger ? cut : text.size()));
  if (isLonger) result += "...";
  return result;
}

std::string lowercased(std::string_view text) {
  if (icu::isASCII(text)) return lowercasedASCII(text);
  const std::u16string wide = icu::toUTF16(text);
  return icu::toUTF8(icu::filled([&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
    return u_strToLower(buffer, capacity, wide.data(), icu::length(wide.size()), "", status);
  }));
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  if (icu::isASCII(left) && icu::isASCII(right)) {
    return equalsIgnoringASCIICase(left, right);
  }
  return compareNormalised(left, right, U_COMPARE_IGNORE_CASE) == 0;
}

std::string comparisonKey(std::string_view text) {
  if (icu::isASCII(text)) return lowercasedASCII(text);
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* normalizer = unorm2_getNFDInstance(&status);
  if (U_FAILURE(status)) throw std::runtime_error("no normalisation data");
  const auto decomposed = [&](const std::u16string& wide) {
    return icu::filled([&](char16_t* buffer, std::int32_t capacity, UErrorCode* error) {
      return unorm2_normalize(normalizer, wide.data(), icu::length(wide.size()), buffer, capacity, error);
    });
  };
  const std::u16string plain = decomposed(icu::toUTF16(text));
  const std::u16string folded = icu::filled([&](char16_t* buffer, std::int32_t capacity, UErrorCode* error) {
    return u_strFoldCase(buffer, capacity, plain.data(), icu::length(plain.size()), U_FOLD_CASE_DEFAULT,
                         error);
  });
  return icu::toUTF8(decomposed(folded));
}

int compareLiterally(std::string_view left, std::string_view right) {
  // In ASCII the bytes have the order of the scalars, and nothing decomposes.
  if (left == right) return 0;
  if (icu::isASCII(left) && icu::isASCII(right)) return left.compare(right);
  return compareNormalised(left, right, 0);
}

}  // namespace pellam::text

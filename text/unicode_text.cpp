#include "text/unicode_text.h"

#include <cstdint>
#include <cstring>

// The text rules that follow from UTF-8 and the character sets alone; the rest is the platform's.
namespace pellam::text {

namespace {

bool isNewline(char32_t scalar) {
  return (scalar >= 0x0A && scalar <= 0x0D) || scalar == 0x85 || scalar == 0x2028 || scalar == 0x2029;
}

// The scalar in front of `end`, whose start is put in `start`.
char32_t scalarBefore(std::string_view text, std::size_t end, std::size_t& start) {
  start = end - 1;
  while (start > 0 && end - start < 4 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
  std::size_t next = start;
  char32_t scalar = nextScalar(text, next);
  while (next < end) {  // ill-formed: step to the last piece
    start = next;
    scalar = nextScalar(text, next);
  }
  return scalar;
}

}  // namespace

char32_t nextScalar(std::string_view text, std::size_t& offset) {
  constexpr char32_t replacement = 0xFFFD;
  const auto lead = static_cast<unsigned char>(text[offset++]);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return replacement;
  const int trailCount = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t scalar = lead & (0x3FU >> trailCount);
  // The second byte's range keeps out overlong forms, surrogates and values beyond U+10FFFF.
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (int index = 0; index < trailCount; ++index) {
    if (offset == text.size()) return replacement;
    const auto trail = static_cast<unsigned char>(text[offset]);
    if (trail < low || trail > high) return replacement;
    low = 0x80;
    high = 0xBF;
    scalar = (scalar << 6) | (trail & 0x3FU);
    ++offset;
  }
  return scalar;
}

std::string_view trimmed(std::string_view text) {
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t next = start;
    if (!isWhitespaceOrNewline(nextScalar(text, next))) break;
    start = next;
  }
  std::size_t end = text.size();
  while (end > start) {
    std::size_t previous = 0;
    if (!isWhitespaceOrNewline(scalarBefore(text, end, previous))) break;
    end = previous;
  }
  return text.substr(start, end - start);
}

std::vector<std::string_view> lines(std::string_view text) {
  std::vector<std::string_view> result;
  std::size_t start = 0;
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t end = offset;
    if (!isNewline(nextScalar(text, offset))) continue;
    result.push_back(text.substr(start, end - start));
    start = offset;
  }
  result.push_back(text.substr(start));
  return result;
}

bool containsLetter(std::string_view text) {
  for (std::size_t offset = 0; offset < text.size();) {
    if (isLetter(nextScalar(text, offset))) return true;
  }
  return false;
}

bool isValidUTF8(std::string_view text) {
  for (std::size_t offset = 0; offset < text.size();) {
    // Plain runs eight bytes at a time.
    std::uint64_t block = 0;
    while (text.size() - offset >= sizeof block) {
      std::memcpy(&block, text.data() + offset, sizeof block);
      if ((block & 0x8080'8080'8080'8080U) != 0) break;
      offset += sizeof block;
    }
    while (offset < text.size() && static_cast<unsigned char>(text[offset]) < 0x80) ++offset;
    // Other scripts come in runs too.
    while (offset < text.size() && static_cast<unsigned char>(text[offset]) >= 0x80) {
      const std::size_t start = offset;
      if (nextScalar(text, offset) == 0xFFFD && text.substr(start, offset - start) != "\xEF\xBF\xBD")
        return false;
    }
  }
  return true;
}

}  // namespace pellam::text

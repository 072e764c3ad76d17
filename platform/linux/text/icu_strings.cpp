#include "platform/linux/text/icu_strings.h"

#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <unicode/ustring.h>

#include "text/unicode_text.h"

namespace pellam::icu {

std::u16string toUTF16(std::string_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (std::size_t offset = 0; offset < text.size();) {
    const char32_t scalar = text::nextScalar(text, offset);
    if (scalar < 0x10000) {
      result.push_back(static_cast<char16_t>(scalar));
    } else {
      result.push_back(static_cast<char16_t>(0xD7C0 + (scalar >> 10)));
      result.push_back(static_cast<char16_t>(0xDC00 + (scalar & 0x3FF)));
    }
  }
  return result;
}

std::string toUTF8(std::u16string_view text) {
  std::string result(text.size() * 3, '\0');
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t size = 0;
  u_strToUTF8WithSub(result.data(), length(result.size()), &size, text.data(), length(text.size()), 0xFFFD,
                     nullptr, &status);
  result.resize(U_FAILURE(status) ? 0 : static_cast<std::size_t>(size));
  return result;
}

std::size_t leadingASCII(std::string_view text) {
  constexpr std::uint64_t upperBits = 0x8080'8080'8080'8080;
  std::size_t offset = 0;
  for (; text.size() - offset >= 4 * sizeof(std::uint64_t); offset += 4 * sizeof(std::uint64_t)) {
    std::array<std::uint64_t, 4> words;
    std::memcpy(words.data(), text.data() + offset, sizeof words);
    if (((words[0] | words[1] | words[2] | words[3]) & upperBits) != 0) break;
  }
  while (offset < text.size() && static_cast<unsigned char>(text[offset]) < 0x80) ++offset;
  return offset;
}

std::int32_t length(std::size_t size) {
  if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw std::length_error("text beyond 2 GiB");
  }
  return static_cast<std::int32_t>(size);
}

}  // namespace pellam::icu

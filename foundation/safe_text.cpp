#include "foundation/safe_text.h"

#include "text/unicode_text.h"

namespace pellam {

namespace {

bool isInvisible(char32_t scalar) {
  return scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0) || scalar == 0x061C || scalar == 0x200E ||
         scalar == 0x200F || (scalar >= 0x2028 && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
}

void appendNumber(std::string& text, char32_t scalar) {
  text += "\\u{";
  int shift = 16;
  while (shift > 0 && scalar >> shift == 0) shift -= 4;
  for (; shift >= 0; shift -= 4) text += "0123456789abcdef"[scalar >> shift & 15U];
  text += '}';
}

}  // namespace

std::string escapedLineBreaks(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char byte : text) {
    if (byte == '\r') {
      escaped += "\\r";
    } else if (byte == '\n') {
      escaped += "\\n";
    } else {
      escaped += byte;
    }
  }
  return escaped;
}

std::string visibleText(std::string_view text) {
  std::string visible;
  visible.reserve(text.size());
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t start = offset;
    const char32_t scalar = text::nextScalar(text, offset);
    if (scalar == U'\r' || scalar == U'\n') {
      visible += scalar == U'\r' ? "\\r" : "\\n";
    } else if (isInvisible(scalar)) {
      appendNumber(visible, scalar);
    } else if (scalar == 0xFFFD) {
      visible += "\uFFFD";
    } else {
      visible += text.substr(start, offset - start);
    }
  }
  return visible;
}

}  // namespace pellam

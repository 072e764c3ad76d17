#include "ui/prompt_window_size.h"

#include <cmath>
#include <optional>

namespace pellam {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The digits at the front, as a value and a count; they are taken off the text.
struct Digits {
  double value = 0;
  int count = 0;
};

Digits takeDigits(std::string_view& text) {
  Digits digits;
  for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1), ++digits.count) {
    digits.value = digits.value * 10 + (text.front() - '0');
  }
  return digits;
}

bool takeSign(std::string_view& text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  return isNegative;
}

// The number at the front, taken off the text; nothing, and the text as it was, when there is none. Written
// out because the library's readers follow the user's decimal separator.
std::optional<double> takeNumber(std::string_view& text) {
  std::string_view rest = text;
  const bool isNegative = takeSign(rest);
  const Digits whole = takeDigits(rest);
  Digits fraction;
  if (rest.starts_with('.')) {
    std::string_view behind = rest.substr(1);
    fraction = takeDigits(behind);
    if (fraction.count > 0) rest = behind;
  }
  if (whole.count + fraction.count == 0) return std::nullopt;
  double value = whole.value + fraction.value * std::pow(10.0, -fraction.count);
  if (rest.starts_with('e') || rest.starts_with('E')) {
    std::string_view behind = rest.substr(1);
    const bool isSmall = takeSign(behind);
    if (const Digits exponent = takeDigits(behind); exponent.count > 0) {
      value *= std::pow(10.0, isSmall ? -exponent.value : exponent.value);
      rest = behind;
    }
  }
  text = rest;
  if (!std::isfinite(value)) return 0;
  return isNegative ? -value : value;
}

double nextNumber(std::string_view& text) {
  for (; !text.empty(); text.remove_prefix(1)) {
    if (const std::optional<double> number = takeNumber(text)) return *number;
  }
  return 0;
}

}  // namespace

WindowSize sizeFromString(std::string_view text) {
  WindowSize size;
  size.width = nextNumber(text);
  size.height = nextNumber(text);
  return size;
}

}  // namespace pellam

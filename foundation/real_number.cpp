#include "foundation/real_number.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>
#include <string>

#include "text/ascii.h"

namespace pellam {

namespace {

constexpr bool isDigit(char unit) { return unit >= '0' && unit <= '9'; }

// How many characters of the text are digits or, once, a point; nothing when there is no digit among them.
std::size_t lengthOfDigits(std::string_view text, bool& hasDigit) {
  bool hasPoint = false;
  std::size_t length = 0;
  for (; length < text.size(); ++length) {
    if (isDigit(text[length])) {
      hasDigit = true;
    } else if (text[length] == '.' && !hasPoint) {
      hasPoint = true;
    } else {
      break;
    }
  }
  return length;
}

bool isExponent(std::string_view text) {
  if (text.empty() || (text[0] != 'e' && text[0] != 'E')) return false;
  text.remove_prefix(1);
  if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

}  // namespace

std::optional<double> parseReal(std::string_view text) {
  const std::string_view whole = text;
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  const double sign = isNegative ? -1 : 1;
  if (text::equalsIgnoringASCIICase(text, "inf") || text::equalsIgnoringASCIICase(text, "infinity")) {
    return sign * std::numeric_limits<double>::infinity();
  }
  if (text::equalsIgnoringASCIICase(text, "nan"))
    return std::copysign(std::numeric_limits<double>::quiet_NaN(), sign);

  bool hasDigit = false;
  const std::size_t mantissa = lengthOfDigits(text, hasDigit);
  if (!hasDigit || (mantissa < text.size() && !isExponent(text.substr(mantissa)))) return std::nullopt;
  // One of the two libraries reads reals in streams alone.
  std::istringstream stream{std::string(whole)};
  stream.imbue(std::locale::classic());
  double value = 0;
  if (!(stream >> value) || std::isinf(value)) return std::nullopt;
  const bool isZero = text.substr(0, mantissa).find_first_of("123456789") == std::string_view::npos;
  if (value == 0 && !isZero) return std::nullopt;
  return value;
}

}  // namespace pellam

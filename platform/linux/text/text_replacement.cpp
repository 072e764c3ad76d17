#include <unicode/uregex.h>

#include "platform/linux/text/icu_strings.h"
#include "text/unicode_text.h"

namespace pellam::text {

namespace {

// The last expression of each thread: building one costs far more than matching a short text.
URegularExpression* expressionFor(std::string_view pattern) {
  thread_local std::string builtPattern;
  thread_local icu::Owned<URegularExpression, uregex_close> expression;
  if (expression != nullptr && builtPattern == pattern) return expression.get();
  const std::u16string wide = icu::toUTF16(pattern);
  UErrorCode status = U_ZERO_ERROR;
  expression.reset(
      uregex_open(wide.data(), icu::length(wide.size()), UREGEX_CASE_INSENSITIVE, nullptr, &status));
  if (U_FAILURE(status)) expression.reset();
  builtPattern = pattern;
  return expression.get();
}

}  // namespace

std::string replacingMatches(std::string_view text, std::string_view pattern,
                             std::string_view replacementTemplate) {
  URegularExpression* expression = expressionFor(pattern);
  if (expression == nullptr) return std::string(text);
  const std::u16string source = icu::toUTF16(text);
  const std::u16string replacement = icu::toUTF16(replacementTemplate);
  UErrorCode status = U_ZERO_ERROR;
  uregex_setText(expression, source.data(), icu::length(source.size()), &status);
  if (U_SUCCESS(status) && uregex_find(expression, 0, &status) == 0) return std::string(text);
  bool hasFailed = U_FAILURE(status) != 0;
  const std::u16string result =
      icu::filled([&](char16_t* buffer, std::int32_t capacity, UErrorCode* fillStatus) {
        const std::int32_t size = uregex_replaceAll(
            expression, replacement.data(), icu::length(replacement.size()), buffer, capacity, fillStatus);
        hasFailed = *fillStatus != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(*fillStatus) != 0;
        return size;
      });
  status = U_ZERO_ERROR;
  uregex_setText(expression, u"", 0, &status);  // the source goes away with this call
  return hasFailed ? std::string(text) : icu::toUTF8(result);
}

}  // namespace pellam::text

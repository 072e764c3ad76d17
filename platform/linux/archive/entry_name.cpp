#include "platform/linux/archive/entry_name.h"

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <stdexcept>

#include "foundation/safe_text.h"
#include "platform/linux/text/icu_strings.h"
#include "platform/unicode_text.h"

namespace pellam::archive {

std::string shownName(std::string_view name) { return text::truncatedToCharacters(visibleText(name), 200); }

std::string collisionKey(std::string_view name) {
  if (icu::isASCII(name)) {
    std::string key(name);
    std::transform(key.begin(), key.end(), key.begin(), [](char unit) {
      return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
    });
    return key;
  }
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* normalizer = unorm2_getNFDInstance(&status);
  if (U_FAILURE(status)) throw std::runtime_error("no normalisation data");
  const auto decomposed = [&](const std::u16string& text) {
    return icu::filled([&](char16_t* buffer, std::int32_t capacity, UErrorCode* error) {
      return unorm2_normalize(normalizer, text.data(), icu::length(text.size()), buffer, capacity, error);
    });
  };
  const std::u16string plain = decomposed(icu::toUTF16(name));
  const std::u16string folded = icu::filled([&](char16_t* buffer, std::int32_t capacity, UErrorCode* error) {
    return u_strFoldCase(buffer, capacity, plain.data(), icu::length(plain.size()), U_FOLD_CASE_DEFAULT,
                         error);
  });
  return icu::toUTF8(decomposed(folded));
}

}  // namespace pellam::archive

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <unicode/utypes.h>

// What the bodies in this folder share. Nothing outside the folder includes it.
namespace pellam::icu {

// Ill-formed sequences become U+FFFD in both directions.
[[nodiscard]] std::u16string toUTF16(std::string_view text);
[[nodiscard]] std::string toUTF8(std::u16string_view text);

// How many ASCII bytes the text begins with.
[[nodiscard]] std::size_t leadingASCII(std::string_view text);
[[nodiscard]] inline bool isASCII(std::string_view text) { return leadingASCII(text) == text.size(); }

// ICU counts in 32 bits; texts beyond that are refused by std::length_error.
[[nodiscard]] std::int32_t length(std::size_t size);

// Calls `fill(buffer, capacity, status)` again with the size that the first call asked for.
template <typename Fill>
[[nodiscard]] std::u16string filled(Fill fill) {
  std::u16string result(64, u'\0');
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t size = fill(result.data(), static_cast<std::int32_t>(result.size()), &status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    result.resize(static_cast<std::size_t>(size) + 1);
    status = U_ZERO_ERROR;
    size = fill(result.data(), static_cast<std::int32_t>(result.size()), &status);
  }
  result.resize(U_FAILURE(status) ? 0 : static_cast<std::size_t>(size));
  return result;
}

template <auto close>
struct Closer {
  template <typename Object>
  void operator()(Object* object) const {
    close(object);
  }
};

// An ICU object and the function that closes it.
template <typename Object, auto close>
using Owned = std::unique_ptr<Object, Closer<close>>;

}  // namespace pellam::icu

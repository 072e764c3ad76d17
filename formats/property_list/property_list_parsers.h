#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "pellam/property_list_value.h"

// The readers of the three forms. All throw PropertyListReadError and keep nothing between calls.
namespace pellam::property_list {

// Any of the forms, told apart by its first bytes.
[[nodiscard]] PropertyListValue read(std::span<const std::uint8_t> bytes);

// The document as UTF-8 without byte-order mark. Borrows the input when it is UTF-8 already.
class DecodedText {
 public:
  explicit DecodedText(std::span<const std::uint8_t> bytes);
  [[nodiscard]] std::string_view text() const { return owned_ ? std::string_view(*owned_) : borrowed_; }

 private:
  std::optional<std::string> owned_;
  std::string_view borrowed_;
};

// True when the first markup of the text is XML rather than old-style data ("<0fbd77>").
[[nodiscard]] bool looksLikeXML(std::string_view text);

[[nodiscard]] PropertyListValue parseXML(std::string_view text);
[[nodiscard]] PropertyListValue parseOldStyle(std::string_view text);
[[nodiscard]] PropertyListValue parseBinary(std::span<const std::uint8_t> bytes);

// Base64 with white space anywhere; nothing for any other character and for a broken ending.
[[nodiscard]] std::optional<PropertyListData> decodeBase64(std::string_view text);

void appendUTF8(std::string& text, char32_t scalar);

// Throws with the number of the line on which `place` lies.
[[noreturn]] void failAtLine(std::string_view document, const char* place, std::string_view what);

}  // namespace pellam::property_list

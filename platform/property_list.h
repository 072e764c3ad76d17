#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "pellam/bridged_error.h"
#include "pellam/property_list_value.h"

namespace pellam {

// The bytes are no property list, or one that goes beyond the limits. Domain "NSCocoaErrorDomain", code 3840;
// the description is one line that says what is wrong and where.
class PropertyListReadError : public PellamError {
 public:
  explicit PropertyListReadError(std::string description) : description_(std::move(description)) {}
  [[nodiscard]] BridgedError bridged() const override { return {"NSCocoaErrorDomain", 3840, description_}; }
  [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string description_;
};

// Reads an XML (UTF-8 with or without byte-order mark, UTF-16), binary or old-style text property list, and
// the text form of strings tables. Input is hostile: nesting is limited to 128 levels and the values made
// from one document, shared references counted each time they are reached, to a budget in proportion to its
// length. Throws PropertyListReadError. Any thread.
[[nodiscard]] PropertyListValue readPropertyList(std::span<const std::uint8_t> bytes);

// The binary form, "bplist00". Throws std::invalid_argument for nesting beyond 128 levels. Any thread.
[[nodiscard]] std::vector<std::uint8_t> writeBinaryPropertyList(const PropertyListValue& value);

// The XML form, UTF-8, tab-indented, with the platform's document type line. Throws std::invalid_argument for
// nesting beyond 128 levels, and on Linux for a date outside the years 1 to 9999, which the form cannot tell.
[[nodiscard]] std::string writeXMLPropertyList(const PropertyListValue& value);

}  // namespace pellam

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "pellam/property_list_value.h"

// The conversions that the decoders of the launcher connection allow. Each takes the value of a key, null
// when the key is absent, and yields nothing when its rule fails. Pure functions, callable from any thread.
namespace pellam {

// A string; no other type is converted.
[[nodiscard]] std::optional<std::string> stringValue(const PropertyListValue* value);

// Any number's integer value, or a string that is a decimal signed 64-bit integer with an optional sign.
[[nodiscard]] std::optional<std::int64_t> intValue(const PropertyListValue* value);

// A number's integer value; strings are not read.
[[nodiscard]] std::optional<std::int64_t> numericIntValue(const PropertyListValue* value);

// Any number's boolean value, or one of the strings "1", "true", "TRUE", "0", "false", "FALSE".
[[nodiscard]] std::optional<bool> boolValue(const PropertyListValue* value);

// A number within 0 to 4294967295, or a string that is one in decimal.
[[nodiscard]] std::optional<std::uint32_t> uint32Value(const PropertyListValue* value);

// An unsigned 64-bit number, or any other number whose signed value is not negative; strings are not read.
[[nodiscard]] std::optional<std::uint64_t> uint64Value(const PropertyListValue* value);

// The value as it is shown in a refusal: booleans "true" and "false", anything else its general description,
// with line breaks escaped; "<empty>" when nothing is left to show.
[[nodiscard]] std::string renderedRawValue(const PropertyListValue& value);

}  // namespace pellam

#include "launcher-protocol/value_readers.h"

#include <limits>

#include "foundation/decimal.h"
#include "launcher-protocol/diagnostic_text.h"

namespace pellam {

std::optional<std::string> stringValue(const PropertyListValue* value) {
  if (value == nullptr || value->string() == nullptr) return std::nullopt;
  return *value->string();
}

std::optional<std::int64_t> numericIntValue(const PropertyListValue* value) {
  return value == nullptr ? std::nullopt : value->numberAsInteger();
}

std::optional<std::int64_t> intValue(const PropertyListValue* value) {
  if (const auto number = numericIntValue(value)) return number;
  if (const auto text = stringValue(value)) return parseDecimal<std::int64_t>(*text);
  return std::nullopt;
}

std::optional<bool> boolValue(const PropertyListValue* value) {
  if (value == nullptr) return std::nullopt;
  if (value->isNumber()) return value->numberAsBoolean();
  const PropertyListText* text = value->string();
  if (text == nullptr) return std::nullopt;
  if (*text == "1" || *text == "true" || *text == "TRUE") return true;
  if (*text == "0" || *text == "false" || *text == "FALSE") return false;
  return std::nullopt;
}

std::optional<std::uint32_t> uint32Value(const PropertyListValue* value) {
  if (const auto number = numericIntValue(value)) {
    if (*number < 0 || *number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(*number);
  }
  if (const auto text = stringValue(value)) return parseDecimal<std::uint32_t>(*text);
  return std::nullopt;
}

std::optional<std::uint64_t> uint64Value(const PropertyListValue* value) {
  if (value == nullptr) return std::nullopt;
  if (const std::uint64_t* native = value->unsigned64()) return *native;
  const auto number = numericIntValue(value);
  if (!number || *number < 0) return std::nullopt;
  return static_cast<std::uint64_t>(*number);
}

std::string renderedRawValue(const PropertyListValue& value) { return escapedValue(value.description()); }

}  // namespace pellam

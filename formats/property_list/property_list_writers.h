#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pellam/property_list_value.h"

// The writers of two of the three forms; nobody writes the old one. Both throw std::invalid_argument for
// nesting beyond the limit and keep nothing between calls.
namespace pellam::property_list {

// "bplist00", equal texts once.
[[nodiscard]] std::vector<std::uint8_t> writeBinary(const PropertyListValue& value);

// UTF-8, tab-indented, with the platform's document type line.
[[nodiscard]] std::string writeXML(const PropertyListValue& value);

}  // namespace pellam::property_list

#include "platform/property_list.h"

#include "formats/property_list/property_list_parsers.h"
#include "formats/property_list/property_list_writers.h"

// This system has no reader of its own that is fit for hostile lists.
namespace pellam {

PropertyListValue readPropertyList(std::span<const std::uint8_t> bytes) { return property_list::read(bytes); }

std::vector<std::uint8_t> writeBinaryPropertyList(const PropertyListValue& value) {
  return property_list::writeBinary(value);
}

std::string writeXMLPropertyList(const PropertyListValue& value) { return property_list::writeXML(value); }

}  // namespace pellam

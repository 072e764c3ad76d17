#include "platform/property_list.h"

#include <stdexcept>

#include "formats/property_list/nesting_guard.h"
#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

constexpr int maximumDepth = 128;

NSData* serialized(const PropertyListValue& value, NSPropertyListFormat format) {
  NSError* error = nil;
  NSData* data = [NSPropertyListSerialization dataWithPropertyList:macos::objectFrom(value)
                                                            format:format
                                                           options:0
                                                             error:&error];
  if (data == nil) throw std::invalid_argument(macos::textOf(error.localizedDescription));
  return data;
}

PropertyListValue valueRead(std::span<const std::uint8_t> bytes) {
  NSError* error = nil;
  NSObject* list = [NSPropertyListSerialization propertyListWithData:[NSData dataWithBytes:bytes.data()
                                                                                    length:bytes.size()]
                                                             options:NSPropertyListImmutable
                                                              format:nil
                                                               error:&error];
  if (list == nil) throw PropertyListReadError(macos::textOf(error.localizedDescription));
  auto value = macos::valueOf(list, {maximumDepth, (std::size_t{1} << 20) + 32 * bytes.size()});
  if (!value)
    throw PropertyListReadError("The property list is nested too deeply or repeats its parts too often.");
  return *std::move(value);
}

}  // namespace

// Pools of their own: the objects of a large list would otherwise stay for as long as the calling thread
// does.

PropertyListValue readPropertyList(std::span<const std::uint8_t> bytes) {
  // Foundation's readers go one stack frame deeper for each level.
  if (listNestsDeeperThan(bytes, maximumDepth)) {
    throw PropertyListReadError("The property list is nested too deeply.");
  }
  @autoreleasepool {
    return valueRead(bytes);
  }
}

std::vector<std::uint8_t> writeBinaryPropertyList(const PropertyListValue& value) {
  if (listNestsDeeperThan(value, maximumDepth)) throw std::invalid_argument("nested beyond 128 levels");
  @autoreleasepool {
    NSData* data = serialized(value, NSPropertyListBinaryFormat_v1_0);
    const auto* start = static_cast<const std::uint8_t*>(data.bytes);
    return {start, start + data.length};
  }
}

std::string writeXMLPropertyList(const PropertyListValue& value) {
  @autoreleasepool {
    NSData* data = serialized(value, NSPropertyListXMLFormat_v1_0);
    return {static_cast<const char*>(data.bytes), data.length};
  }
}

}  // namespace pellam

#pragma once

#import <Foundation/Foundation.h>

#include <filesystem>
#include <optional>

#include "pellam/bridged_error.h"
#include "pellam/date.h"
#include "pellam/property_list_value.h"
#include "platform/macos/text_bridge.h"

// The conversions between this system's values and Foundation's objects. Included by the bodies of this
// folder alone. Pure functions; any thread. Returned objects belong to the caller as usual under reference
// counting.
namespace pellam::macos {

// The bytes of a path are a file's name, whatever they spell.
[[nodiscard]] NSString* _Nonnull pathString(const std::filesystem::path& path);
[[nodiscard]] NSURL* _Nonnull fileURL(const std::filesystem::path& path);

[[nodiscard]] NSDate* _Nonnull dateFrom(Date date);
[[nodiscard]] Date dateOf(NSDate* _Nonnull date);

// Domain, code and localised description.
[[nodiscard]] BridgedError bridgedError(NSError* _Nonnull error);

// Booleans become CoreFoundation booleans, every other number keeps its kind.
[[nodiscard]] NSObject* _Nonnull objectFrom(const PropertyListValue& value);
[[nodiscard]] NSDictionary<NSString*, id>* _Nonnull dictionaryFrom(const PropertyListDictionary& dictionary);

// How much one conversion may make out of an object; hostile lists share parts that grow when they are
// copied.
struct ConversionLimits {
  int depth = 128;
  std::size_t bytes = std::size_t{64} << 20;  // texts and data by their length, and 16 for every value
};
// Nothing for an object that is no property-list value and for one beyond the limits.
[[nodiscard]] std::optional<PropertyListValue> valueOf(NSObject* _Nullable object,
                                                       ConversionLimits limits = {});
// What came from a peer, key by key. Texts and numbers of any length; of other values what is a property-list
// value of at most a mebibyte, and for the rest a dictionary under "unsupportedType", which no reader takes
// for anything else. Empty when a key is no string.
[[nodiscard]] PropertyListDictionary dictionaryOf(NSDictionary* _Nullable dictionary);

}  // namespace pellam::macos

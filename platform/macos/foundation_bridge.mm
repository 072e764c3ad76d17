#include "platform/macos/foundation_bridge.h"

#include <cmath>
#include <cstring>
#include <unordered_map>
#include <utility>
#include <vector>

namespace pellam::macos {

namespace {

struct Converter {
  int depth;
  std::size_t left;
  std::size_t repeatable = left + (std::size_t{64} << 20);
  std::unordered_map<const void*, PropertyListText> longTexts = {};  // that came before

  // False when nothing is left for one more value of that length.
  bool take(std::size_t length) {
    constexpr std::size_t perValue = 16;
    if (length > left || left - length < perValue) return false;
    left -= length + perValue;
    return true;
  }
  std::optional<std::string> string(NSString* object) {
    if (!take(object.length)) return std::nullopt;
    return textOf(object);
  }
  // The entries of a binary list may all hold one and the same string: it is copied once, and costs nothing
  // but a limit to how often it will be read.
  std::optional<PropertyListText> text(NSString* object) {
    constexpr NSUInteger shortest = 64;
    if (object.length >= shortest) {
      const auto known = longTexts.find((__bridge const void*)object);
      if (known != longTexts.end()) {
        if (known->second.size() > repeatable || !take(0)) return std::nullopt;
        repeatable -= known->second.size();
        return known->second;
      }
    }
    std::optional<std::string> copied = string(object);
    if (!copied) return std::nullopt;
    PropertyListText result{std::string_view(*copied)};
    if (object.length >= shortest) longTexts.emplace((__bridge const void*)object, result);
    return result;
  }
  std::optional<PropertyListValue> value(NSObject* object);
  std::optional<PropertyListDictionary> dictionary(NSDictionary* object);
};

PropertyListValue numberOf(NSNumber* number) {
  // A boolean is an object of its own kind; by value it could not be told from 0 and 1.
  if (CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID()) return number.boolValue == YES;
  switch (number.objCType[0]) {
    case 'd':
    case 'f':
      return number.doubleValue;
    case 'Q':
    case 'L':
      return std::uint64_t{number.unsignedLongLongValue};
    case 'I':
      return std::uint32_t{number.unsignedIntValue};
    default:
      return std::int64_t{number.longLongValue};
  }
}

std::optional<PropertyListDictionary> Converter::dictionary(NSDictionary* object) {
  std::vector<PropertyListDictionary::Entry> entries;
  entries.reserve(object.count);
  for (NSObject* key in object) {
    if (![key isKindOfClass:[NSString class]]) return std::nullopt;
    std::optional<std::string> name = string(static_cast<NSString*>(key));
    std::optional<PropertyListValue> converted = value([object objectForKey:key]);
    if (!name || !converted) return std::nullopt;
    entries.emplace_back(*std::move(name), *std::move(converted));
  }
  return PropertyListDictionary(std::move(entries));
}

std::optional<PropertyListValue> Converter::value(NSObject* object) {
  if ([object isKindOfClass:[NSString class]]) return text(static_cast<NSString*>(object));
  const bool isData = [object isKindOfClass:[NSData class]] == YES;
  if (depth == 0 || !take(isData ? static_cast<NSData*>(object).length : 0)) return std::nullopt;
  if ([object isKindOfClass:[NSNumber class]]) return numberOf(static_cast<NSNumber*>(object));
  if ([object isKindOfClass:[NSDate class]]) return dateOf(static_cast<NSDate*>(object));
  if (isData) {
    auto* data = static_cast<NSData*>(object);
    const auto* bytes = static_cast<const std::uint8_t*>(data.bytes);
    return PropertyListData(bytes, bytes + data.length);
  }
  --depth;
  std::optional<PropertyListValue> result;
  if ([object isKindOfClass:[NSArray class]]) {
    PropertyListArray elements;
    for (NSObject* element in static_cast<NSArray*>(object)) {
      std::optional<PropertyListValue> converted = value(element);
      if (!converted) return std::nullopt;
      elements.push_back(*std::move(converted));
    }
    result = std::move(elements);
  } else if ([object isKindOfClass:[NSDictionary class]]) {
    std::optional<PropertyListDictionary> converted = dictionary(static_cast<NSDictionary*>(object));
    if (converted) result = *std::move(converted);
  }
  ++depth;
  return result;
}

NSObject* objectFromNumber(const PropertyListValue& value) {
  if (const bool* boolean = value.boolean()) return *boolean ? @YES : @NO;
  if (const std::uint32_t* number = value.unsigned32()) return [NSNumber numberWithUnsignedInt:*number];
  if (const std::uint64_t* number = value.unsigned64()) return [NSNumber numberWithUnsignedLongLong:*number];
  if (const double* number = value.real()) return [NSNumber numberWithDouble:*number];
  return [NSNumber numberWithLongLong:value.numberAsInteger().value_or(0)];
}

}  // namespace

NSString* pathString(const std::filesystem::path& path) {
  NSString* name = [NSFileManager.defaultManager stringWithFileSystemRepresentation:path.c_str()
                                                                             length:path.native().size()];
  return name != nil ? name : stringFrom(path.native());
}

NSURL* fileURL(const std::filesystem::path& path) { return [NSURL fileURLWithPath:pathString(path)]; }

NSDate* dateFrom(Date date) {
  const std::chrono::duration<double> seconds = date.time_since_epoch();
  return [NSDate dateWithTimeIntervalSince1970:seconds.count()];
}

Date dateOf(NSDate* date) {
  // Beyond the years that a Date holds, the nearest one that it does.
  constexpr double limit = 9e12;
  const double seconds = std::fmin(std::fmax(date.timeIntervalSince1970, -limit), limit);
  return Date(std::chrono::microseconds(std::llround(seconds * 1e6)));
}

BridgedError bridgedError(NSError* error) {
  return {textOf(error.domain), error.code, textOf(error.localizedDescription)};
}

NSObject* objectFrom(const PropertyListValue& value) {
  if (const PropertyListText* text = value.string()) return stringFrom(*text);
  if (const Date* date = value.date()) return dateFrom(*date);
  if (const PropertyListData* data = value.data()) {
    return [NSData dataWithBytes:data->data() length:data->size()];
  }
  if (const PropertyListDictionary* dictionary = value.dictionary()) return dictionaryFrom(*dictionary);
  if (const PropertyListArray* array = value.array()) {
    NSMutableArray<NSObject*>* objects = [NSMutableArray array];
    for (const PropertyListValue& element : *array) [objects addObject:objectFrom(element)];
    return objects;
  }
  return objectFromNumber(value);
}

NSDictionary<NSString*, id>* dictionaryFrom(const PropertyListDictionary& dictionary) {
  NSMutableDictionary<NSString*, id>* objects = [NSMutableDictionary dictionary];
  for (const auto& [key, value] : dictionary) [objects setObject:objectFrom(value) forKey:stringFrom(key)];
  return objects;
}

std::optional<PropertyListValue> valueOf(NSObject* object, ConversionLimits limits) {
  return Converter{limits.depth, limits.bytes}.value(object);
}

PropertyListDictionary dictionaryOf(NSDictionary* dictionary) {
  constexpr ConversionLimits limits{128, std::size_t{1} << 20};
  std::vector<PropertyListDictionary::Entry> entries;
  entries.reserve(dictionary.count);
  for (NSObject* key in dictionary) {
    if (![key isKindOfClass:[NSString class]]) return {};
    NSObject* object = [dictionary objectForKey:key];
    std::optional<PropertyListValue> value;
    if ([object isKindOfClass:[NSString class]]) {
      value = textOf(static_cast<NSString*>(object));
    } else {
      value = valueOf(object, limits);
    }
    if (!value) value = PropertyListDictionary{{"unsupportedType", "object"}};
    entries.emplace_back(textOf(static_cast<NSString*>(key)), *std::move(value));
  }
  return PropertyListDictionary(std::move(entries));
}

}  // namespace pellam::macos

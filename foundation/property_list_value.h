#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "foundation/date.h"

namespace pellam {

class PropertyListValue;

// A dictionary from string keys to property-list values. Iteration is in ascending order of the keys' bytes;
// two dictionaries are equal when they hold the same keys with equal values. References stay valid until the
// next change of the dictionary.
class PropertyListDictionary {
 public:
  using Entry = std::pair<std::string, PropertyListValue>;
  using const_iterator = std::vector<Entry>::const_iterator;

  PropertyListDictionary() = default;
  PropertyListDictionary(std::initializer_list<Entry> entries);
  // Takes entries in any order; of entries with the same key the last one stays.
  explicit PropertyListDictionary(std::vector<Entry> entries);
  // Takes entries that the caller knows to be in strictly ascending order of their keys.
  [[nodiscard]] static PropertyListDictionary fromOrderedEntries(std::vector<Entry> entries);

  // The value of the key, or null. The dictionary keeps ownership.
  [[nodiscard]] const PropertyListValue* find(std::string_view key) const;
  [[nodiscard]] bool contains(std::string_view key) const { return find(key) != nullptr; }
  // The value of the key when it is a string, else null.
  [[nodiscard]] const std::string* findString(std::string_view key) const;

  // Adds the key or replaces its value.
  void set(std::string key, PropertyListValue value);
  void erase(std::string_view key);

  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] bool empty() const;
  [[nodiscard]] const_iterator begin() const;
  [[nodiscard]] const_iterator end() const;

  friend bool operator==(const PropertyListDictionary& left, const PropertyListDictionary& right);

 private:
  std::vector<Entry> entries_;
};

using PropertyListArray = std::vector<PropertyListValue>;
using PropertyListData = std::vector<std::uint8_t>;

// One value of a property list or of a dictionary that crosses the launcher connection. The alternatives stay
// apart: a boolean is not the number 1, and the three integer widths survive the wire as they were set.
// Whoever wants a conversion asks for it by name (launcher-protocol/value_readers.h).
class PropertyListValue {
 public:
  using Storage = std::variant<bool, std::int64_t, std::uint32_t, std::uint64_t, double, std::string, Date,
                               PropertyListData, PropertyListArray, PropertyListDictionary>;

  PropertyListValue() : storage_(std::string()) {}
  PropertyListValue(bool value) : storage_(value) {}  // NOLINT(google-explicit-constructor)
  PropertyListValue(int value) : storage_(static_cast<std::int64_t>(value)) {}     // NOLINT
  PropertyListValue(std::int64_t value) : storage_(value) {}                       // NOLINT
  PropertyListValue(std::uint32_t value) : storage_(value) {}                      // NOLINT
  PropertyListValue(std::uint64_t value) : storage_(value) {}                      // NOLINT
  PropertyListValue(double value) : storage_(value) {}                             // NOLINT
  PropertyListValue(std::string value) : storage_(std::move(value)) {}             // NOLINT
  PropertyListValue(std::string_view value) : storage_(std::string(value)) {}      // NOLINT
  PropertyListValue(const char* value) : storage_(std::string(value)) {}           // NOLINT
  PropertyListValue(Date value) : storage_(value) {}                               // NOLINT
  PropertyListValue(PropertyListData value) : storage_(std::move(value)) {}        // NOLINT
  PropertyListValue(PropertyListArray value) : storage_(std::move(value)) {}       // NOLINT
  PropertyListValue(PropertyListDictionary value) : storage_(std::move(value)) {}  // NOLINT

  // The alternative when the value holds it, else null. Never converts.
  [[nodiscard]] const bool* boolean() const { return std::get_if<bool>(&storage_); }
  [[nodiscard]] const std::int64_t* integer() const { return std::get_if<std::int64_t>(&storage_); }
  [[nodiscard]] const std::uint32_t* unsigned32() const { return std::get_if<std::uint32_t>(&storage_); }
  [[nodiscard]] const std::uint64_t* unsigned64() const { return std::get_if<std::uint64_t>(&storage_); }
  [[nodiscard]] const double* real() const { return std::get_if<double>(&storage_); }
  [[nodiscard]] const std::string* string() const { return std::get_if<std::string>(&storage_); }
  [[nodiscard]] const Date* date() const { return std::get_if<Date>(&storage_); }
  [[nodiscard]] const PropertyListData* data() const { return std::get_if<PropertyListData>(&storage_); }
  [[nodiscard]] const PropertyListArray* array() const { return std::get_if<PropertyListArray>(&storage_); }
  [[nodiscard]] const PropertyListDictionary* dictionary() const {
    return std::get_if<PropertyListDictionary>(&storage_);
  }
  // True for the boolean, the integers and the real: what the platform keeps in a number object.
  [[nodiscard]] bool isNumber() const { return storage_.index() <= 4; }

  // A number's value read as a signed 64-bit integer, the way the platform's number objects answer: booleans
  // are 0 and 1, reals lose their fraction (saturating, NaN is 0), a larger unsigned value keeps its bits.
  [[nodiscard]] std::optional<std::int64_t> numberAsInteger() const;
  // A number's value read as a boolean: true for everything but zero.
  [[nodiscard]] std::optional<bool> numberAsBoolean() const;

  // The general textual description: strings as they are, numbers in decimal, booleans "true" and "false",
  // dates in ISO 8601, data as its length, containers as one line of their elements.
  [[nodiscard]] std::string description() const;

  [[nodiscard]] const Storage& storage() const { return storage_; }
  [[nodiscard]] Storage& storage() { return storage_; }

  friend bool operator==(const PropertyListValue&, const PropertyListValue&) = default;

 private:
  Storage storage_;
};

inline std::size_t PropertyListDictionary::size() const { return entries_.size(); }
inline bool PropertyListDictionary::empty() const { return entries_.empty(); }
inline PropertyListDictionary::const_iterator PropertyListDictionary::begin() const {
  return entries_.begin();
}
inline PropertyListDictionary::const_iterator PropertyListDictionary::end() const { return entries_.end(); }

}  // namespace pellam

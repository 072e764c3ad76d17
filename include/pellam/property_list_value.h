#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "pellam/date.h"
#include "pellam/property_list_text.h"

namespace [[gnu::visibility("default")]] pellam {

class PropertyListValue;

// A dictionary from string keys to property-list values. Iteration is in ascending order of the keys' bytes;
// two dictionaries are equal when they hold the same keys with equal values. References stay valid until the
// next change of the dictionary. Dictionaries of one list mostly have the same keys and then share them.
class PropertyListDictionary {
 public:
  using Entry = std::pair<std::string, PropertyListValue>;
  using Keys = std::vector<std::string>;
  class const_iterator;

  PropertyListDictionary() = default;
  PropertyListDictionary(const PropertyListDictionary& other);
  PropertyListDictionary(PropertyListDictionary&& other) noexcept = default;
  PropertyListDictionary& operator=(const PropertyListDictionary& other);
  PropertyListDictionary& operator=(PropertyListDictionary&& other) noexcept = default;
  ~PropertyListDictionary();

  PropertyListDictionary(std::initializer_list<Entry> entries);
  // Takes entries in any order; of entries with the same key the last one stays.
  explicit PropertyListDictionary(std::vector<Entry> entries);
  // Takes keys that the caller knows to be in strictly ascending order, and a value for each.
  PropertyListDictionary(std::shared_ptr<const Keys> orderedKeys, std::vector<PropertyListValue> values);

  // The value of the key, or null. The dictionary keeps ownership.
  [[nodiscard]] const PropertyListValue* find(std::string_view key) const;
  [[nodiscard]] bool contains(std::string_view key) const { return find(key) != nullptr; }
  // The value of the key when it is a string, else null.
  [[nodiscard]] const PropertyListText* findString(std::string_view key) const;

  // Adds the key or replaces its value. A new key costs a copy of all; many at once go through a constructor.
  void set(std::string key, PropertyListValue value);
  void erase(std::string_view key);

  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] bool empty() const { return size() == 0; }
  // Entries are pairs of references, `first` the key and `second` the value.
  [[nodiscard]] const_iterator begin() const;
  [[nodiscard]] const_iterator end() const;

  friend bool operator==(const PropertyListDictionary& left, const PropertyListDictionary& right);

 private:
  // A pointer, so that a value which holds a dictionary is no larger than one which holds a text.
  struct Contents;
  [[nodiscard]] std::size_t place(std::string_view key) const;
  // This dictionary's keys, to be changed: a copy, because others may share the ones it has.
  [[nodiscard]] Keys& ownKeys();

  std::unique_ptr<Contents> contents_;  // null while empty
};

using PropertyListArray = std::vector<PropertyListValue>;
using PropertyListData = std::vector<std::uint8_t>;

// One value of a property list or of a dictionary that crosses the launcher connection. The alternatives stay
// apart: a boolean is not the number 1, and the three integer widths survive the wire as they were set.
// Whoever wants a conversion asks for it by name.
//
// For example:
//
//     const PropertyListDictionary entry = {{"current", "2.0"}, {"interval", 7200}};
//     assert(entry.findString("current")->view() == "2.0");
//     assert(entry.find("interval")->numberAsInteger() == 7200);
//     assert(entry.findString("interval") == nullptr);  // nothing converts by itself
class PropertyListValue {
 public:
  using Storage = std::variant<bool, std::int64_t, std::uint32_t, std::uint64_t, double, PropertyListText,
                               Date, PropertyListData, PropertyListArray, PropertyListDictionary>;

  PropertyListValue() : storage_(PropertyListText()) {}
  PropertyListValue(bool value) : storage_(value) {}  // NOLINT(google-explicit-constructor)
  PropertyListValue(int value) : storage_(static_cast<std::int64_t>(value)) {}                   // NOLINT
  PropertyListValue(std::int64_t value) : storage_(value) {}                                     // NOLINT
  PropertyListValue(std::uint32_t value) : storage_(value) {}                                    // NOLINT
  PropertyListValue(std::uint64_t value) : storage_(value) {}                                    // NOLINT
  PropertyListValue(double value) : storage_(value) {}                                           // NOLINT
  PropertyListValue(const std::string& value) : storage_(PropertyListText(value)) {}             // NOLINT
  PropertyListValue(PropertyListText value) : storage_(std::move(value)) {}                      // NOLINT
  PropertyListValue(std::string_view value) : storage_(PropertyListText(value)) {}               // NOLINT
  PropertyListValue(const char* value) : storage_(PropertyListText(std::string_view(value))) {}  // NOLINT
  PropertyListValue(Date value) : storage_(value) {}                                             // NOLINT
  PropertyListValue(PropertyListData value) : storage_(std::move(value)) {}                      // NOLINT
  PropertyListValue(PropertyListArray value) : storage_(std::move(value)) {}                     // NOLINT
  PropertyListValue(PropertyListDictionary value) : storage_(std::move(value)) {}                // NOLINT

  // The alternative when the value holds it, else null. Never converts.
  [[nodiscard]] const bool* boolean() const { return std::get_if<bool>(&storage_); }
  [[nodiscard]] const std::int64_t* integer() const { return std::get_if<std::int64_t>(&storage_); }
  [[nodiscard]] const std::uint32_t* unsigned32() const { return std::get_if<std::uint32_t>(&storage_); }
  [[nodiscard]] const std::uint64_t* unsigned64() const { return std::get_if<std::uint64_t>(&storage_); }
  [[nodiscard]] const double* real() const { return std::get_if<double>(&storage_); }
  [[nodiscard]] const PropertyListText* string() const { return std::get_if<PropertyListText>(&storage_); }
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

struct PropertyListDictionary::Contents {
  std::shared_ptr<const Keys> keys;
  std::vector<PropertyListValue> values;  // one for each key
};

class PropertyListDictionary::const_iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using difference_type = std::ptrdiff_t;
  using value_type = std::pair<const std::string&, const PropertyListValue&>;
  using reference = value_type;
  struct pointer {
    value_type entry;
    const value_type* operator->() const { return &entry; }
  };

  const_iterator() = default;
  const_iterator(const std::string* key, const PropertyListValue* value) : key_(key), value_(value) {}
  reference operator*() const { return {*key_, *value_}; }
  pointer operator->() const { return {{*key_, *value_}}; }
  const_iterator& operator++() {
    ++key_;
    ++value_;
    return *this;
  }
  const_iterator operator++(int) {
    const const_iterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const const_iterator&, const const_iterator&) = default;

 private:
  const std::string* key_ = nullptr;
  const PropertyListValue* value_ = nullptr;
};

inline std::size_t PropertyListDictionary::size() const { return contents_ ? contents_->values.size() : 0; }
inline PropertyListDictionary::const_iterator PropertyListDictionary::begin() const {
  return contents_ ? const_iterator(contents_->keys->data(), contents_->values.data()) : const_iterator();
}
inline PropertyListDictionary::const_iterator PropertyListDictionary::end() const {
  return contents_ ? const_iterator(contents_->keys->data() + size(), contents_->values.data() + size())
                   : const_iterator();
}

}  // namespace pellam

#include "foundation/property_list_value.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "foundation/date_text.h"

namespace pellam {

namespace {

struct KeyOrder {
  bool operator()(const PropertyListDictionary::Entry& left, std::string_view right) const {
    return left.first < right;
  }
};

bool keyLess(const PropertyListDictionary::Entry& left, const PropertyListDictionary::Entry& right) {
  return left.first < right.first;
}

std::int64_t truncated(double value) {
  if (std::isnan(value)) return 0;
  constexpr double limit = 9223372036854775808.0;
  if (value >= limit) return INT64_MAX;
  if (value < -limit) return INT64_MIN;
  return static_cast<std::int64_t>(value);
}

std::string realText(double value) {
  char text[40];
  for (int digits : {15, 16, 17}) {
    (void)std::snprintf(text, sizeof text, "%.*g", digits, value);
    if (std::strtod(text, nullptr) == value) break;
  }
  return text;
}

}  // namespace

PropertyListDictionary::PropertyListDictionary(std::initializer_list<Entry> entries)
    : PropertyListDictionary(std::vector<Entry>(entries)) {}

PropertyListDictionary::PropertyListDictionary(std::vector<Entry> entries) : entries_(std::move(entries)) {
  const auto isOutOfOrder = [](const Entry& left, const Entry& right) { return !keyLess(left, right); };
  if (std::adjacent_find(entries_.begin(), entries_.end(), isOutOfOrder) == entries_.end()) return;
  std::stable_sort(entries_.begin(), entries_.end(), keyLess);
  // Keep the last of each run of equal keys.
  auto out = entries_.begin();
  for (auto in = entries_.begin(); in != entries_.end(); ++in) {
    if (in + 1 != entries_.end() && in->first == (in + 1)->first) continue;
    if (out != in) *out = std::move(*in);
    ++out;
  }
  entries_.erase(out, entries_.end());
}

PropertyListDictionary PropertyListDictionary::fromOrderedEntries(std::vector<Entry> entries) {
  PropertyListDictionary dictionary;
  dictionary.entries_ = std::move(entries);
  return dictionary;
}

const PropertyListValue* PropertyListDictionary::find(std::string_view key) const {
  const auto found = std::lower_bound(entries_.begin(), entries_.end(), key, KeyOrder{});
  return found != entries_.end() && found->first == key ? &found->second : nullptr;
}

const std::string* PropertyListDictionary::findString(std::string_view key) const {
  const PropertyListValue* value = find(key);
  return value == nullptr ? nullptr : value->string();
}

void PropertyListDictionary::set(std::string key, PropertyListValue value) {
  const auto place = std::lower_bound(entries_.begin(), entries_.end(), std::string_view(key), KeyOrder{});
  if (place != entries_.end() && place->first == key) {
    place->second = std::move(value);
  } else {
    entries_.emplace(place, std::move(key), std::move(value));
  }
}

void PropertyListDictionary::erase(std::string_view key) {
  const auto found = std::lower_bound(entries_.begin(), entries_.end(), key, KeyOrder{});
  if (found != entries_.end() && found->first == key) entries_.erase(found);
}

bool operator==(const PropertyListDictionary& left, const PropertyListDictionary& right) {
  return left.entries_ == right.entries_;
}

std::optional<std::int64_t> PropertyListValue::numberAsInteger() const {
  if (const bool* value = boolean()) return *value ? 1 : 0;
  if (const auto* value = integer()) return *value;
  if (const auto* value = unsigned32()) return static_cast<std::int64_t>(*value);
  if (const auto* value = unsigned64()) return static_cast<std::int64_t>(*value);
  if (const double* value = real()) return truncated(*value);
  return std::nullopt;
}

std::optional<bool> PropertyListValue::numberAsBoolean() const {
  if (const double* value = real()) return *value != 0.0;
  const std::optional<std::int64_t> value = numberAsInteger();
  if (!value) return std::nullopt;
  return *value != 0;
}

std::string PropertyListValue::description() const {
  if (const bool* value = boolean()) return *value ? "true" : "false";
  if (const auto* value = integer()) return std::to_string(*value);
  if (const auto* value = unsigned32()) return std::to_string(*value);
  if (const auto* value = unsigned64()) return std::to_string(*value);
  if (const double* value = real()) return realText(*value);
  if (const std::string* value = string()) return *value;
  if (const Date* value = date()) return iso8601Text(*value);
  if (const PropertyListData* value = data()) return "{length = " + std::to_string(value->size()) + "}";
  std::string text;
  if (const PropertyListArray* value = array()) {
    for (const PropertyListValue& element : *value) {
      text += (text.empty() ? "" : ", ") + element.description();
    }
    return "(" + text + ")";
  }
  for (const auto& [key, element] : *dictionary()) {
    text += (text.empty() ? "" : " ") + key + " = " + element.description() + ";";
  }
  return "{" + text + "}";
}

}  // namespace pellam

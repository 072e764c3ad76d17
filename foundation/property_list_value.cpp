#include "pellam/property_list_value.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "foundation/date_text.h"

namespace pellam {

namespace {

using Entry = PropertyListDictionary::Entry;

bool keyLess(const Entry& left, const Entry& right) { return left.first < right.first; }

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
  // An application with windows has set the user's locale, whose decimal separator may be of several bytes.
  std::string result = text;
  const std::size_t separator = result.find_first_not_of("0123456789+-einfa");
  if (separator != std::string::npos) {
    const std::size_t end = result.find_first_of("0123456789", separator);
    result.replace(separator, end - separator, ".");
  }
  return result;
}

}  // namespace

PropertyListDictionary::PropertyListDictionary(const PropertyListDictionary& other)
    : contents_(other.contents_ ? std::make_unique<Contents>(*other.contents_) : nullptr) {}

PropertyListDictionary& PropertyListDictionary::operator=(const PropertyListDictionary& other) {
  if (this != &other) contents_ = other.contents_ ? std::make_unique<Contents>(*other.contents_) : nullptr;
  return *this;
}

PropertyListDictionary::~PropertyListDictionary() = default;

PropertyListDictionary::PropertyListDictionary(std::initializer_list<Entry> entries)
    : PropertyListDictionary(std::vector<Entry>(entries)) {}

PropertyListDictionary::PropertyListDictionary(std::vector<Entry> entries) {
  std::stable_sort(entries.begin(), entries.end(), keyLess);
  Keys keys;
  std::vector<PropertyListValue> values;
  keys.reserve(entries.size());
  values.reserve(entries.size());
  for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
    // The last of each run of equal keys stays.
    if (entry + 1 != entries.end() && entry->first == (entry + 1)->first) continue;
    keys.push_back(std::move(entry->first));
    values.push_back(std::move(entry->second));
  }
  *this = PropertyListDictionary(std::make_shared<const Keys>(std::move(keys)), std::move(values));
}

PropertyListDictionary::PropertyListDictionary(std::shared_ptr<const Keys> orderedKeys,
                                               std::vector<PropertyListValue> values) {
  if (values.empty()) return;
  contents_ = std::make_unique<Contents>(Contents{std::move(orderedKeys), std::move(values)});
}

// Where the key stands or would stand.
std::size_t PropertyListDictionary::place(std::string_view key) const {
  if (!contents_) return 0;
  const Keys& keys = *contents_->keys;
  return static_cast<std::size_t>(std::lower_bound(keys.begin(), keys.end(), key) - keys.begin());
}

const PropertyListValue* PropertyListDictionary::find(std::string_view key) const {
  const std::size_t index = place(key);
  return index < size() && (*contents_->keys)[index] == key ? &contents_->values[index] : nullptr;
}

const PropertyListText* PropertyListDictionary::findString(std::string_view key) const {
  const PropertyListValue* value = find(key);
  return value == nullptr ? nullptr : value->string();
}

PropertyListDictionary::Keys& PropertyListDictionary::ownKeys() {
  const auto own = std::make_shared<Keys>(*contents_->keys);
  contents_->keys = own;
  return *own;
}

void PropertyListDictionary::set(std::string key, PropertyListValue value) {
  if (!contents_) contents_ = std::make_unique<Contents>(Contents{std::make_shared<const Keys>(), {}});
  const std::size_t index = place(key);
  const auto offset = static_cast<std::ptrdiff_t>(index);
  if (index < size() && (*contents_->keys)[index] == key) {
    contents_->values[index] = std::move(value);
    return;
  }
  Keys& keys = ownKeys();
  keys.insert(keys.begin() + offset, std::move(key));
  try {
    contents_->values.insert(contents_->values.begin() + offset, std::move(value));
  } catch (...) {
    keys.erase(keys.begin() + offset);
    throw;
  }
}

void PropertyListDictionary::erase(std::string_view key) {
  if (!contains(key)) return;
  const auto offset = static_cast<std::ptrdiff_t>(place(key));
  Keys& keys = ownKeys();
  keys.erase(keys.begin() + offset);
  contents_->values.erase(contents_->values.begin() + offset);
}

bool operator==(const PropertyListDictionary& left, const PropertyListDictionary& right) {
  if (left.size() != right.size()) return false;
  if (left.empty()) return true;
  return *left.contents_->keys == *right.contents_->keys && left.contents_->values == right.contents_->values;
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
  if (const PropertyListText* value = string()) return value->string();
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

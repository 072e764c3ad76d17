#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "pellam/property_list_value.h"

namespace [[gnu::visibility("default")]] pellam {

// A small persistent settings store, keyed by string: the platform's per-user defaults. Any thread may call
// it; the store serialises its own access. Reading never fails: an absent key has the value named below, and
// a value of another type is converted as the platform's defaults convert it, or counts as absent.
//
// For example:
//
//     struct Preferences final : PellamKeyValueStoring {  // an application's own, in memory
//       std::map<std::string, PropertyListValue, std::less<>> values;
//       bool boolForKey(std::string_view key) const override { return integerForKey(key) != 0; }
//       std::optional<std::string> stringForKey(std::string_view key) const override {
//         const auto value = objectForKey(key);
//         if (!value || value->string() == nullptr) return std::nullopt;
//         return value->string()->string();
//       }
//       std::int64_t integerForKey(std::string_view key) const override {
//         const auto value = objectForKey(key);
//         return value ? value->numberAsInteger().value_or(0) : 0;
//       }
//       double doubleForKey(std::string_view key) const override {
//         return static_cast<double>(integerForKey(key));
//       }
//       std::optional<PropertyListValue> objectForKey(std::string_view key) const override {
//         const auto found = values.find(key);
//         return found == values.end() ? std::nullopt : std::optional(found->second);
//       }
//       void set(std::optional<PropertyListValue> value, std::string_view key) override {
//         removeObjectForKey(key);
//         if (value) values.emplace(key, *value);
//       }
//       void removeObjectForKey(std::string_view key) override { values.erase(std::string(key)); }
//     };
//     Preferences preferences;
//     preferences.set(PropertyListValue(48), "PellamUpdateReminderHours");
//     assert(preferences.integerForKey("PellamUpdateReminderHours") == 48);
class PellamKeyValueStoring {
 public:
  virtual ~PellamKeyValueStoring() = default;
  [[nodiscard]] virtual bool boolForKey(std::string_view key) const = 0;                          // false
  [[nodiscard]] virtual std::optional<std::string> stringForKey(std::string_view key) const = 0;  // none
  [[nodiscard]] virtual std::int64_t integerForKey(std::string_view key) const = 0;               // 0
  [[nodiscard]] virtual double doubleForKey(std::string_view key) const = 0;                      // 0.0
  [[nodiscard]] virtual std::optional<PropertyListValue> objectForKey(
      std::string_view key) const = 0;  // none
  // Storing nothing removes the key.
  virtual void set(std::optional<PropertyListValue> value, std::string_view key) = 0;
  virtual void removeObjectForKey(std::string_view key) = 0;
};

}  // namespace pellam

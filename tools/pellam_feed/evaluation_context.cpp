#include "tools/pellam_feed/evaluation_context.h"

#include <nlohmann/json.hpp>

#include "foundation/date_text.h"

namespace pellam::feed_tool {

namespace {

using JSON = nlohmann::json;

constexpr int maximumDepth = 100;

PropertyListValue propertyListValue(const JSON& json, const std::string& key, int depth) {
  if (depth > maximumDepth) throw ContextError("\"" + key + "\" is nested too deeply");
  if (json.is_boolean()) return json.get<bool>();
  if (json.is_string()) return json.get<std::string>();
  if (json.is_number_unsigned() && json.get<std::uint64_t>() > INT64_MAX) return json.get<std::uint64_t>();
  if (json.is_number_integer()) return json.get<std::int64_t>();
  if (json.is_number_float()) return json.get<double>();
  if (json.is_array()) {
    PropertyListArray array;
    for (const JSON& element : json) array.push_back(propertyListValue(element, key, depth + 1));
    return array;
  }
  if (!json.is_object()) throw ContextError("\"" + key + "\" holds a null");
  std::vector<PropertyListDictionary::Entry> entries;
  for (const auto& [name, element] : json.items()) {
    entries.emplace_back(name, propertyListValue(element, key, depth + 1));
  }
  return PropertyListDictionary(std::move(entries));
}

// Reads members by name and checks their types.
class Members {
 public:
  explicit Members(const JSON& object) : object_(object) {}

  void read(const std::string& key, bool& field) const {
    if (const JSON* value = find(key, &JSON::is_boolean, "true or false")) field = value->get<bool>();
  }

  void read(const std::string& key, std::string& field) const {
    if (const JSON* value = find(key, &JSON::is_string, "a string")) field = value->get<std::string>();
  }

  void read(const std::string& key, std::optional<std::string>& field) const {
    if (const JSON* value = find(key, &JSON::is_string, "a string")) field = value->get<std::string>();
  }

  void read(const std::string& key, std::int64_t& field) const {
    constexpr const char* expected = "an integer of 64 bits";
    const JSON* value = find(key, &JSON::is_number_integer, expected);
    if (value == nullptr) return;
    if (value->is_number_unsigned() && value->get<std::uint64_t>() > INT64_MAX) fail(key, expected);
    field = value->get<std::int64_t>();
  }

  void read(const std::string& key, std::optional<Date>& field) const {
    constexpr const char* expected = "a date like \"2026-01-31T12:00:00Z\"";
    const JSON* value = find(key, &JSON::is_string, expected);
    if (value == nullptr) return;
    field = parseISO8601(value->get_ref<const std::string&>());
    if (!field) fail(key, expected);
  }

  void read(const std::string& key, std::set<std::string, std::less<>>& field) const {
    constexpr const char* expected = "an array of strings";
    const JSON* value = find(key, &JSON::is_array, expected);
    if (value == nullptr) return;
    for (const JSON& element : *value) {
      if (!element.is_string()) fail(key, expected);
      field.insert(element.get<std::string>());
    }
  }

  void read(const std::string& key, PropertyListDictionary& field) const {
    const JSON* value = find(key, &JSON::is_object, "an object");
    if (value != nullptr) field = *propertyListValue(*value, key, 1).dictionary();
  }

 private:
  [[noreturn]] static void fail(const std::string& key, const char* expected) {
    throw ContextError("\"" + key + "\" must be " + expected);
  }

  // The member when it exists and is not null.
  const JSON* find(const std::string& key, bool (JSON::*isRight)() const noexcept,
                   const char* expected) const {
    const auto found = object_.find(key);
    if (found == object_.end() || found->is_null()) return nullptr;
    if (!((*found).*isRight)()) fail(key, expected);
    return &*found;
  }

  const JSON& object_;
};

JSON parsed(std::string_view text) {
  try {
    return JSON::parse(text);
  } catch (const JSON::parse_error& error) {
    throw ContextError("not JSON at byte " + std::to_string(error.byte));
  }
}

}  // namespace

EvaluationContext parseEvaluationContext(std::string_view json) {
  const JSON object = parsed(json);
  if (!object.is_object()) throw ContextError("the context must be an object");
  const Members members(object);

  EvaluationContext context;
  OrvoUpdateFeedApplicabilityContext& applicability = context.applicability;
  OrvoUpdateFeedDisplayContext& display = context.display;
  OrvoUpdateFeedPipelineApplicationInput& application = context.application;

  members.read("appVersion", applicability.appVersion);
  display.appVersion = applicability.appVersion;
  members.read("appBuild", applicability.appBuild);
  members.read("currentOSVersion", applicability.currentOSVersion);
  members.read("preferredLanguageCode", applicability.preferredLanguageCode);
  members.read("acceptedSKUs", applicability.acceptedSKUs);

  members.read("canProcessUpdateFeeds", applicability.canProcessUpdateFeeds);
  display.canProcessUpdateFeeds = applicability.canProcessUpdateFeeds;
  application.canProcessUpdateFeeds = applicability.canProcessUpdateFeeds;
  members.read("displayCanProcessUpdateFeeds", display.canProcessUpdateFeeds);
  members.read("applyCanProcessUpdateFeeds", application.canProcessUpdateFeeds);

  members.read("isManualCheck", applicability.isManualCheck);
  display.isManualCheck = applicability.isManualCheck;
  members.read("checkForBetaReleasesEnabled", applicability.checkForBetaReleasesEnabled);
  members.read("shouldApplyUserStaggering", applicability.shouldApplyUserStaggering);
  members.read("userStaggerGroup", applicability.userStaggerGroup);
  std::optional<Date> now;
  members.read("now", now);
  applicability.now = display.now = now.value_or(Date());
  members.read("debugBypassApplicabilityChecks", applicability.debugBypassApplicabilityChecks);

  members.read("lastNewsDisplayedDate", display.lastNewsDisplayedDate);
  members.read("checkUpdatesAfterHours", display.checkUpdatesAfterHours);
  if (display.checkUpdatesAfterHours > INT64_MAX / 3600) {
    throw ContextError("\"checkUpdatesAfterHours\" overflows when counted in seconds");
  }
  members.read("storedFeedIdentifier", display.storedFeedIdentifier);
  members.read("shouldResetStoredFeedIdentifier", display.shouldResetStoredFeedIdentifier);

  members.read("shouldConfirmNoUpdatesDialog", application.shouldConfirmNoUpdatesDialog);
  members.read("shouldSetSleepInterval", application.shouldSetSleepInterval);
  members.read("existingNewsDictionary", application.existingNewsDictionary);
  members.read("feedTypeKey", application.feedTypeKey);
  members.read("defaultRefetchIntervalSeconds", application.defaultRefetchIntervalSeconds);
  members.read("minimumRefetchIntervalSeconds", application.minimumRefetchIntervalSeconds);
  members.read("displaySelectedUpdateReturns", context.displaySelectedUpdateReturns);
  return context;
}

}  // namespace pellam::feed_tool

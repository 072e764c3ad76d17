#include "host/update_settings.h"

#include <algorithm>

namespace pellam {

namespace {
constexpr const char* lastDisplayedKey = "PellamUpdateLastNewsDisplayedDate";
constexpr const char* newsKey = "PellamUpdateNews";
constexpr const char* betaKey = "PellamUpdateCheckForBetaReleases";
constexpr const char* reminderKey = "PellamUpdateReminderHours";
constexpr const char* staggerKey = "PellamUpdateStaggerGroup";
constexpr const char* nextFetchKey = "PellamUpdateNextFetchDate";
constexpr std::int64_t defaultReminderHours = 24;
}  // namespace

std::optional<Date> UpdateSettings::date(std::string_view key) const {
  const std::optional<PropertyListValue> value = store_->objectForKey(key);
  if (!value || value->date() == nullptr) return std::nullopt;
  return *value->date();
}

std::optional<Date> UpdateSettings::lastNewsDisplayedDate() const { return date(lastDisplayedKey); }

void UpdateSettings::setLastNewsDisplayedDate(Date date) { store_->set(date, lastDisplayedKey); }

PropertyListDictionary UpdateSettings::newsDictionary() const {
  const std::optional<PropertyListValue> value = store_->objectForKey(newsKey);
  return value && value->dictionary() != nullptr ? *value->dictionary() : PropertyListDictionary();
}

void UpdateSettings::setNewsDictionary(const PropertyListDictionary& dictionary) {
  store_->set(dictionary, newsKey);
}

std::optional<std::string> UpdateSettings::storedFeedIdentifier() const {
  const PropertyListDictionary news = newsDictionary();
  const PropertyListText* identifier = news.findString(feedTypeKey);
  return identifier == nullptr ? std::nullopt : std::optional(*identifier);
}

bool UpdateSettings::checkForBetaReleases() const { return store_->boolForKey(betaKey); }

void UpdateSettings::setCheckForBetaReleases(bool isEnabled) { store_->set(isEnabled, betaKey); }

std::int64_t UpdateSettings::checkUpdatesAfterHours() const {
  if (!store_->objectForKey(reminderKey)) return defaultReminderHours;
  // The evaluation takes it for a mistake of the program when the hours cannot be counted in seconds; here
  // somebody has written them into a file.
  constexpr std::int64_t longest = INT64_MAX / 3600;
  return std::clamp<std::int64_t>(store_->integerForKey(reminderKey), 0, longest);
}

std::optional<std::int64_t> UpdateSettings::staggerGroup() const {
  if (!store_->objectForKey(staggerKey)) return std::nullopt;
  return store_->integerForKey(staggerKey);
}

void UpdateSettings::setStaggerGroup(std::int64_t days) { store_->set(days, staggerKey); }

std::optional<Date> UpdateSettings::nextFetchDate() const { return date(nextFetchKey); }

void UpdateSettings::setNextFetchDate(Date date) { store_->set(date, nextFetchKey); }

}  // namespace pellam

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "pellam/date.h"
#include "pellam/key_value_storing.h"

namespace pellam {

// What a host remembers between checks, under the keys named here. Thread-safe as far as the store is.
class UpdateSettings {
 public:
  // The key of the one feed in the dictionary of shown identifiers.
  static constexpr const char* feedTypeKey = "update";

  explicit UpdateSettings(std::shared_ptr<PellamKeyValueStoring> store) : store_(std::move(store)) {}

  // "PellamUpdateLastNewsDisplayedDate": when an entry was last shown to the user.
  [[nodiscard]] std::optional<Date> lastNewsDisplayedDate() const;
  void setLastNewsDisplayedDate(Date date);

  // "PellamUpdateNews": the identifiers shown last, by feed type.
  [[nodiscard]] PropertyListDictionary newsDictionary() const;
  void setNewsDictionary(const PropertyListDictionary& dictionary);
  [[nodiscard]] std::optional<std::string> storedFeedIdentifier() const;

  // "PellamUpdateCheckForBetaReleases"
  [[nodiscard]] bool checkForBetaReleases() const;
  void setCheckForBetaReleases(bool isEnabled);

  // "PellamUpdateReminderHours": 24 unless set; never so many that they cannot be counted in seconds.
  [[nodiscard]] std::int64_t checkUpdatesAfterHours() const;

  // "PellamUpdateStaggerGroup": days of delay in staged roll-outs; nothing until one was drawn.
  [[nodiscard]] std::optional<std::int64_t> staggerGroup() const;
  void setStaggerGroup(std::int64_t days);

  // "PellamUpdateNextFetchDate"
  [[nodiscard]] std::optional<Date> nextFetchDate() const;
  void setNextFetchDate(Date date);

 private:
  [[nodiscard]] std::optional<Date> date(std::string_view key) const;
  std::shared_ptr<PellamKeyValueStoring> store_;
};

}  // namespace pellam

#pragma once

#include <memory>
#include <optional>
#include <string>

#include "pellam/key_value_storing.h"
#include "pellam/url.h"

namespace pellam {

// The attempt that a host hands to the installer helper before it ends, kept in the settings for the next
// start: the helper's failure report names the attempt, and the alert about it offers the address.
struct InstallAttemptRecord {
  std::string attemptIdentifier;
  std::optional<URL> manualUpdateURL;

  // Replaces an earlier record.
  void store(PellamKeyValueStoring& settings) const;
  // Nothing when there is no record.
  [[nodiscard]] static std::optional<InstallAttemptRecord> load(const PellamKeyValueStoring& settings);
  static void remove(PellamKeyValueStoring& settings);
};

}  // namespace pellam

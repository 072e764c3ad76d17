#pragma once

#include <string>
#include <vector>

#include "pellam/property_list_value.h"

namespace pellam {

enum class OrvoAppBundleLaunchdJobDomain { user, system };

// A job for the platform's job manager: started at once, and once only. A value.
struct OrvoAppBundleLaunchdJob {
  std::string label;
  OrvoAppBundleLaunchdJobDomain domain = OrvoAppBundleLaunchdJobDomain::user;
  std::vector<std::string> programArguments;

  // The seven entries that the job manager is given.
  [[nodiscard]] PropertyListDictionary launchdDictionary() const;

  friend bool operator==(const OrvoAppBundleLaunchdJob&, const OrvoAppBundleLaunchdJob&) = default;
};

}  // namespace pellam

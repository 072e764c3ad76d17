#pragma once

#include <filesystem>

#include "launcher-protocol/replacement_request.h"

namespace pellam {

// Proves that a staged bundle may replace the installed application.
class OrvoAppBundleUpdateValidating {
 public:
  virtual ~OrvoAppBundleUpdateValidating() = default;
  // Blocks while the signing tool runs. Throws the OrvoUpdateInstallerError of the first check that fails;
  // nothing is changed on disk.
  virtual void validateAppBundle(const std::filesystem::path& appBundle,
                                 const OrvoAppBundleUpdateHostIdentity& hostIdentity) = 0;
};

}  // namespace pellam

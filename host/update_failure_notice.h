#pragma once

#include <optional>

#include "foundation/url_loading.h"
#include "pellam/feed_entry.h"
#include "pellam/installer_error.h"
#include "pellam/url.h"

namespace pellam {

// What the user is told about an installation that failed.
enum class UpdateFailureNotice {
  authorizationCancelled,  // the notice that nothing was installed
  downloadFailed,          // an alert of the download phase
  installationFailed,      // an alert of the installation phase
};

[[nodiscard]] UpdateFailureNotice updateFailureNotice(const OrvoUpdateInstallerError& error);

// True when the error looks as if this machine had no connection at all.
[[nodiscard]] bool isOfflineError(const URLLoadingError& error);

// The page or file that the user is sent to when the automatic update fails: the host's own address, else the
// entry's separate installer. Only http and https addresses count.
[[nodiscard]] std::optional<URL> manualUpdateAddress(const FeedEntry& entry,
                                                     const std::optional<URL>& hostAddress);

}  // namespace pellam

#pragma once

#include <memory>
#include <string>
#include <utility>

#include "host/installed_application.h"
#include "host/installer_coordinator.h"
#include "pellam/feed_entry.h"
#include "pellam/install_result.h"
#include "pellam/update_offer.h"

namespace pellam {

// From an accepted offer to a started installer: the one way that every host takes, with windows or without.
// A value that shares its coordinator; any thread but the main one.
class OfferInstallation {
 public:
  // What belongs to one installation and not to the application.
  struct Attempt {
    std::string identifier;  // names the attempt in the installer's failure report
    std::string installerNameFormat = usualInstallerNameFormat;  // one "%@" for the application's name
    std::shared_ptr<OrvoUpdateProgressWindow> window{};          // without one nobody is asked again
    LaunchProgressHandler launchProgress{};                      // any thread; empty: nobody listens
    CancellationToken cancellation{};
  };

  OfferInstallation(InstalledApplication application,
                    std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator)
      : application_(std::move(application)), coordinator_(std::move(coordinator)) {}

  // Blocks until the installer has taken over or was opened. Throws OrvoUpdateInstallerError
  // (missingArchiveURL for an entry that has neither), InstallationInProgress or OperationCancelled. The
  // window is closed however it ends.
  [[nodiscard]] InstallResult install(const FeedEntry& entry, const Attempt& attempt) const;

  // What earlier installations left behind. Never throws.
  int removeStaleAttempts() const;

 private:
  InstalledApplication application_;
  std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator_;
};

}  // namespace pellam

#pragma once

#include <memory>

#include "examples/editor/editor_log.h"
#include "host/installed_application.h"
#include "host/installer_coordinator.h"
#include "host/update_check.h"
#include "installer/failure_report.h"
#include "pellam/cancellation.h"
#include "ui/progress_window.h"

namespace pellam {

// The sample application's glue: what a host does with the components to keep itself current.
class EditorUpdate {
 public:
  EditorUpdate(InstalledApplication application, std::shared_ptr<UpdateCheck> check,
               std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator,
               std::shared_ptr<OrvoAppBundleUpdateFailureReportStore> reports,
               std::shared_ptr<UUIDGenerating> identifiers, EditorLog& log)
      : application_(std::move(application)),
        check_(std::move(check)),
        coordinator_(std::move(coordinator)),
        reports_(std::move(reports)),
        identifiers_(std::move(identifiers)),
        log_(log) {}

  // Checks the feed and installs what it offers. Blocks; not on the main thread. True when the installer has
  // taken over and the application has to end. Never throws: what goes wrong is in the log.
  [[nodiscard]] bool updateIfOffered(const URL& feed, const UpdateCheckOptions& options,
                                     MainThread& mainThread, const CancellationToken& cancellation);

 private:
  bool install(const FeedEntry& entry, const CancellationToken& cancellation);

  InstalledApplication application_;
  std::shared_ptr<UpdateCheck> check_;
  std::shared_ptr<OrvoUpdateInstallerCoordinator> coordinator_;
  std::shared_ptr<OrvoAppBundleUpdateFailureReportStore> reports_;
  std::shared_ptr<UUIDGenerating> identifiers_;
  EditorLog& log_;
};

}  // namespace pellam

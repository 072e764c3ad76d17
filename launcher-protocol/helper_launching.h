#pragma once

#include "launcher-protocol/launch_result.h"
#include "launcher-protocol/replacement_request.h"
#include "pellam/launch_progress.h"

namespace pellam {

// Starts the installer helper for one replacement. The service implements it over jobs, the host over the
// connection to the service.
class OrvoAppBundleUpdateHelperLaunching {
 public:
  virtual ~OrvoAppBundleUpdateHelperLaunching() = default;
  // Blocks until the launch has ended, however it ended; never throws. The handler may be called from any
  // thread, and not after the return.
  [[nodiscard]] virtual OrvoAppBundleReplacementLaunchResult launchReplacement(
      const OrvoAppBundleReplacementRequest& request, const LaunchProgressHandler& progressHandler) = 0;
};

}  // namespace pellam

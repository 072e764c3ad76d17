#pragma once

#include <memory>
#include <string>

#include "host/launcher_connection.h"
#include "launcher-protocol/helper_launching.h"
#include "launcher-protocol/launch_timeouts.h"
#include "services/sleeping.h"

namespace pellam {

// The host's way to a launched installer helper: sends the request to the launcher service inside the host's
// bundle, relays its progress and returns the one result. Time limits: the first runs from sending the
// message until the user is asked for authorization, or to the end when nobody is asked; the second from the
// user's answer to the reply; 0 means no limit. Keeps nothing between launches; any thread but the main
// thread.
class OrvoAppBundleXPCUpdateHelperLauncher final : public OrvoAppBundleUpdateHelperLaunching {
 public:
  OrvoAppBundleXPCUpdateHelperLauncher(
      std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnectionMaking> connectionFactory,
      std::string serviceName, LaunchTimeouts timeouts, CancellableSleep watchdogSleep)
      : connectionFactory_(std::move(connectionFactory)),
        serviceName_(std::move(serviceName)),
        timeouts_(timeouts),
        watchdogSleep_(std::move(watchdogSleep)) {}

  // Blocks until the launch has ended; afterwards no connection, handler or timer of it is left. The progress
  // handler may be empty; it is called on the connection's thread, and what it throws is dropped: the launch
  // goes on. What cannot be connected or sent is a result like any other: nothing is thrown for it.
  [[nodiscard]] OrvoAppBundleReplacementLaunchResult launchReplacement(
      const OrvoAppBundleReplacementRequest& request, const LaunchProgressHandler& progressHandler) override;

 private:
  std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnectionMaking> connectionFactory_;
  std::string serviceName_;
  LaunchTimeouts timeouts_;
  CancellableSleep watchdogSleep_;
};

}  // namespace pellam

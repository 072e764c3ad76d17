#pragma once

#include <functional>
#include <memory>
#include <string>

#include "launcher-protocol/launch_result.h"
#include "pellam/bridged_error.h"
#include "pellam/launch_progress.h"
#include "pellam/property_list_value.h"

namespace pellam {

// One connection to the launcher service, for one launch.
class OrvoAppBundleInstallerLauncherServiceConnection {
 public:
  // Returns when no handler is running and none will be called any more, unless a handler lets go of the
  // connection itself.
  virtual ~OrvoAppBundleInstallerLauncherServiceConnection() = default;
  // This, and the sending of a message, may throw; invalidate() and destruction are all that is left to do
  // then.
  virtual void resume() = 0;
  // Calls `didSubmitRequest`, then sends the message; the decoded result goes to `reply`. False, with neither
  // called, when the service cannot be spoken to.
  [[nodiscard]] virtual bool launchReplacement(
      const PropertyListDictionary& message, const std::function<void()>& didSubmitRequest,
      std::function<void(const OrvoAppBundleReplacementLaunchResult&)> reply) = 0;
  // Any thread, handlers included.
  virtual void invalidate() = 0;
};

class OrvoAppBundleInstallerLauncherServiceConnectionMaking {
 public:
  virtual ~OrvoAppBundleInstallerLauncherServiceConnectionMaking() = default;
  // Null when there is no such service. The handlers are called on the connection's own thread.
  [[nodiscard]] virtual std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> makeConnection(
      const std::string& serviceName, std::function<void(const BridgedError&)> errorHandler,
      LaunchProgressHandler progressHandler) = 0;
};

}  // namespace pellam

#include "host/launch_session.h"

#include <utility>

namespace pellam {

void OrvoAppBundleXPCLaunchSession::finish(const OrvoAppBundleReplacementLaunchResult& result) {
  std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> connection;
  Completion completion;
  {
    const std::lock_guard guard(lock_);
    if (didComplete_) return;
    didComplete_ = true;
    connection = std::move(connection_);
    completion = std::move(completion_);
  }
  if (connection) connection->invalidate();
  // Whoever waits for the completion holds the last reference then, and with it the end of the callbacks.
  connection.reset();
  completion(result);
}

void OrvoAppBundleXPCLaunchSession::setConnection(
    std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> connection) {
  {
    const std::lock_guard guard(lock_);
    if (!didComplete_) {
      connection_ = std::move(connection);
      return;
    }
  }
  connection->invalidate();
}

}  // namespace pellam

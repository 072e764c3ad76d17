#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "host/launcher_connection.h"
#include "launcher-protocol/launch_result.h"

namespace pellam {

// Delivers the first result of one launch and drops all later ones. Thread-safe; calls nothing while holding
// its lock.
class OrvoAppBundleXPCLaunchSession {
 public:
  using Completion = std::function<void(const OrvoAppBundleReplacementLaunchResult&)>;

  explicit OrvoAppBundleXPCLaunchSession(Completion completion) : completion_(std::move(completion)) {}

  // The first call invalidates and lets go of the connection, then completes with the result.
  void finish(const OrvoAppBundleReplacementLaunchResult& result);

  // A connection that comes after the end is invalidated at once.
  void setConnection(std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> connection);

 private:
  std::mutex lock_;
  Completion completion_;
  std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> connection_;
  bool didComplete_ = false;
};

}  // namespace pellam

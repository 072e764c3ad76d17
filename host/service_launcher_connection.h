#pragma once

#include <memory>
#include <utility>

#include "host/launcher_connection.h"
#include "platform/service_connection.h"

namespace pellam {

// Takes the service's progress events; what is no event is dropped.
class OrvoAppBundleInstallerLauncherProgressReceiver final
    : public OrvoAppBundleInstallerLauncherProgressXPCProtocol {
 public:
  explicit OrvoAppBundleInstallerLauncherProgressReceiver(LaunchProgressHandler progressHandler)
      : progressHandler_(std::move(progressHandler)) {}
  void reportProgress(const PropertyListDictionary& event) override;

 private:
  LaunchProgressHandler progressHandler_;
};

// A launcher service connection over the platform's.
class OrvoAppBundleNSXPCInstallerLauncherServiceConnection final
    : public OrvoAppBundleInstallerLauncherServiceConnection {
 public:
  OrvoAppBundleNSXPCInstallerLauncherServiceConnection(std::shared_ptr<ServiceConnection> connection,
                                                       ServiceErrorHandler errorHandler,
                                                       LaunchProgressHandler progressHandler);
  void resume() override { connection_->resume(); }
  [[nodiscard]] bool launchReplacement(
      const PropertyListDictionary& message, const std::function<void()>& didSubmitRequest,
      std::function<void(const OrvoAppBundleReplacementLaunchResult&)> reply) override;
  void invalidate() override { connection_->invalidate(); }

 private:
  std::shared_ptr<ServiceConnection> connection_;
  ServiceErrorHandler errorHandler_;
};

class OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory final
    : public OrvoAppBundleInstallerLauncherServiceConnectionMaking {
 public:
  explicit OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory(
      std::shared_ptr<ServiceConnectionMaking> connections)
      : connections_(std::move(connections)) {}
  [[nodiscard]] std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> makeConnection(
      const std::string& serviceName, std::function<void(const BridgedError&)> errorHandler,
      LaunchProgressHandler progressHandler) override;

 private:
  std::shared_ptr<ServiceConnectionMaking> connections_;
};

}  // namespace pellam

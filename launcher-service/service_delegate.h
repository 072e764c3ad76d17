#pragma once

#include <memory>
#include <utility>

#include "launcher-service/launch_tasks.h"
#include "launcher-service/service_platform.h"
#include "platform/service_connection.h"

namespace pellam {

// Accepts every connection and gives each a service object of its own. Whether a host may have what it asks
// for is decided per message, against the application that embeds this service; from the connection itself
// only the peer's process identifier is taken.
class PellamUpdateInstallerLauncherServiceDelegate final : public ServiceListenerDelegate {
 public:
  PellamUpdateInstallerLauncherServiceDelegate(ServicePlatform platform, std::shared_ptr<LaunchTasks> tasks)
      : platform_(std::move(platform)), tasks_(std::move(tasks)) {}

  [[nodiscard]] bool shouldAcceptNewConnection(IncomingServiceConnection& connection) override;

 private:
  ServicePlatform platform_;
  std::shared_ptr<LaunchTasks> tasks_;
};

}  // namespace pellam

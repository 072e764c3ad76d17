#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "platform/linux/connection/bus_loop.h"
#include "platform/service_connection.h"

namespace pellam {

// The service's end of one connection over a bus loop.
class BusIncomingConnection final : public IncomingServiceConnection {
 public:
  // Takes a connected socket; `peer` is what the system says about its other end. `didEnd` is called on the
  // connection's thread when it has ended. Throws std::system_error.
  BusIncomingConnection(FileDescriptor socket, std::int32_t peer, std::function<void()> didEnd);
  ~BusIncomingConnection() override;
  BusIncomingConnection(const BusIncomingConnection&) = delete;
  BusIncomingConnection& operator=(const BusIncomingConnection&) = delete;

  [[nodiscard]] std::int32_t processIdentifier() const override { return peer_; }
  [[nodiscard]] std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> remoteObjectProxy(
      ServiceErrorHandler errorHandler) override;
  void setExportedObject(std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> object) override;
  void resume() override;

  void stop() { loop_->stop(); }
  void join() { loop_->join(); }

 private:
  struct State;
  static int onLaunch(sd_bus_message* message, void* userData, sd_bus_error* error);

  std::int32_t peer_;
  std::function<void()> didEnd_;
  std::shared_ptr<BusLoop> loop_;
  std::shared_ptr<State> state_;
};

}  // namespace pellam

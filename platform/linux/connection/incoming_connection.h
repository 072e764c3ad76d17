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
  // Takes a connected socket; `peer` is what the system says about its other end. `didChange` is called on
  // the connection's thread when its last reply has gone out and when it has ended. Throws std::system_error.
  BusIncomingConnection(FileDescriptor socket, std::int32_t peer, std::function<void()> didChange);
  ~BusIncomingConnection() override;
  BusIncomingConnection(const BusIncomingConnection&) = delete;
  BusIncomingConnection& operator=(const BusIncomingConnection&) = delete;

  [[nodiscard]] std::int32_t processIdentifier() const override { return peer_; }
  [[nodiscard]] std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> remoteObjectProxy(
      ServiceErrorHandler errorHandler) override;
  void setExportedObject(std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> object) override;
  void resume() override;

  // True when no message waits for its reply.
  [[nodiscard]] bool isIdle() const;
  [[nodiscard]] bool hasEnded() const;
  // Takes no further message and ends when the replies to those that it has taken have gone out.
  void stopWhenIdle();
  void join() { loop_->join(); }

 private:
  struct State;
  static int onLaunch(sd_bus_message* message, void* userData, sd_bus_error* error);

  std::int32_t peer_;
  std::shared_ptr<BusLoop> loop_;
  std::shared_ptr<State> state_;
};

}  // namespace pellam

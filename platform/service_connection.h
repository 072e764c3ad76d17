#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "pellam/bridged_error.h"
#include "pellam/property_list_value.h"

// The connection between an application and the launcher service inside its bundle. Dictionaries hold
// strings, numbers and booleans only; anything else that a peer sends arrives, under its key, as a value that
// no reader accepts, and spoils no other key.
namespace pellam {

class BundleLoading;
class FileSystem;

// What the service offers to its host. The proxy and the object behind it share the interface.
class OrvoAppBundleInstallerLauncherXPCProtocol {
 public:
  using Reply = std::function<void(const PropertyListDictionary&)>;
  virtual ~OrvoAppBundleInstallerLauncherXPCProtocol() = default;
  // Returns at once. The reply is called at most once, from any thread.
  virtual void launchReplacement(const PropertyListDictionary& message, Reply reply) = 0;
};

// What a host offers to its service. There is no reply.
class OrvoAppBundleInstallerLauncherProgressXPCProtocol {
 public:
  virtual ~OrvoAppBundleInstallerLauncherProgressXPCProtocol() = default;
  virtual void reportProgress(const PropertyListDictionary& event) = 0;
};

using ServiceErrorHandler = std::function<void(const BridgedError&)>;

// The host's end. Handlers, progress events and replies are called on the connection's own thread, one at a
// time and in the order in which the service sent them; they may call back into the connection. Set
// everything before resume(). Dropping the last reference invalidates without calling anything further.
class ServiceConnection {
 public:
  virtual ~ServiceConnection() = default;

  virtual void setExportedObject(
      std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> progressReceiver) = 0;
  // Called when the service went away while the connection was in use. Calls in flight are lost.
  virtual void setInterruptionHandler(std::function<void()> handler) = 0;
  // Called once, when the connection will never carry anything again.
  virtual void setInvalidationHandler(std::function<void()> handler) = 0;

  virtual void resume() = 0;
  // The service as seen from here, or null when it does not offer the protocol. A call that cannot be
  // delivered or that the peer answers with an error reaches the handler instead of the reply.
  [[nodiscard]] virtual std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> remoteObjectProxy(
      ServiceErrorHandler errorHandler) = 0;
  // Closes the connection; a second call does nothing. A launch that the service has begun goes on. Any
  // thread.
  virtual void invalidate() = 0;
};

class ServiceConnectionMaking {
 public:
  virtual ~ServiceConnectionMaking() = default;
  // The connection to the service of that name inside the host's bundle; null when there is no such service.
  [[nodiscard]] virtual std::shared_ptr<ServiceConnection> connectionToService(
      const std::string& serviceName) = 0;
};

// `hostBundle` is the application whose services are meant; a command-line host may name another application
// than its own.
[[nodiscard]] std::shared_ptr<ServiceConnectionMaking> makeSystemServiceConnections(
    const std::filesystem::path& hostBundle, std::shared_ptr<FileSystem> fileSystem,
    std::shared_ptr<BundleLoading> bundles);

// The service's end of one connection. Calls arrive on the connection's own thread.
class IncomingServiceConnection {
 public:
  virtual ~IncomingServiceConnection() = default;
  // The peer's, taken from the connection itself, never from what the peer says; 0 when it is unknown.
  [[nodiscard]] virtual std::int32_t processIdentifier() const = 0;
  // The host's progress receiver, or null when it offers none. May be used from any thread and also after the
  // connection has ended; events that cannot be delivered go to the handler.
  [[nodiscard]] virtual std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> remoteObjectProxy(
      ServiceErrorHandler errorHandler) = 0;
  // The connection keeps the object until it ends, from whichever side and also while messages wait for their
  // replies.
  virtual void setExportedObject(std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> object) = 0;
  virtual void resume() = 0;
};

class ServiceListenerDelegate {
 public:
  virtual ~ServiceListenerDelegate() = default;
  // True to serve the connection, which the delegate has then set up and resumed.
  [[nodiscard]] virtual bool shouldAcceptNewConnection(IncomingServiceConnection& connection) = 0;
};

// Waits for hosts. Main thread.
class ServiceListener {
 public:
  virtual ~ServiceListener() = default;
  // The listener does not own the delegate.
  virtual void setDelegate(ServiceListenerDelegate* delegate) = 0;
  // Serves until there is nobody left to serve, or for ever where the platform ends the process itself.
  // Returns the exit status for the process. Launches that are still running are not waited for.
  [[nodiscard]] virtual int resume() = 0;
};

// The listener on which the platform hands this service its connections.
[[nodiscard]] std::shared_ptr<ServiceListener> makeServiceListener();

}  // namespace pellam

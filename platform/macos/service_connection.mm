#include <utility>

#include "foundation/handler_gate.h"
#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"
#include "platform/macos/xpc_protocols.h"

namespace pellam {

namespace {

using Launcher = OrvoAppBundleInstallerLauncherXPCProtocol;
using ProgressReceiver = OrvoAppBundleInstallerLauncherProgressXPCProtocol;

// Lets events through for as long as the connection's owner wants them.
class GatedProgressReceiver final : public ProgressReceiver {
 public:
  GatedProgressReceiver(std::shared_ptr<ProgressReceiver> receiver, std::shared_ptr<HandlerGate> gate)
      : receiver_(std::move(receiver)), gate_(std::move(gate)) {}
  void reportProgress(const PropertyListDictionary& event) override {
    gate_->pass([&] { receiver_->reportProgress(event); });
  }

 private:
  std::shared_ptr<ProgressReceiver> receiver_;
  std::shared_ptr<HandlerGate> gate_;
};

class LauncherProxy final : public Launcher {
 public:
  LauncherProxy(id<OrvoAppBundleInstallerLauncherXPCProtocol> proxy, std::shared_ptr<HandlerGate> gate)
      : proxy_(proxy), gate_(std::move(gate)) {}
  void launchReplacement(const PropertyListDictionary& message, Reply reply) override {
    const auto gate = gate_;
    [proxy_ launchReplacementWithMessage:macos::dictionaryFrom(message)
                                   reply:^(NSDictionary* answer) {
                                     (void)macos::runGuarded(
                                         [&] { gate->pass([&] { reply(macos::dictionaryOf(answer)); }); });
                                   }];
  }

 private:
  id<OrvoAppBundleInstallerLauncherXPCProtocol> proxy_;
  std::shared_ptr<HandlerGate> gate_;
};

// The connection calls everything on one serial queue of its own.
class XPCServiceConnection final : public ServiceConnection {
 public:
  explicit XPCServiceConnection(const std::string& serviceName)
      : connection_([[NSXPCConnection alloc] initWithServiceName:macos::stringFrom(serviceName)]) {
    connection_.remoteObjectInterface = macos::launcherInterface();
    connection_.exportedInterface = macos::progressInterface();
  }
  ~XPCServiceConnection() override {
    gate_->close();
    // The system ends a program that lets go of a connection which was never started.
    if (!isResumed_) [connection_ resume];
    [connection_ invalidate];
  }

  void setExportedObject(std::shared_ptr<ProgressReceiver> progressReceiver) override {
    connection_.exportedObject = macos::exportedProgressReceiver(
        std::make_shared<GatedProgressReceiver>(std::move(progressReceiver), gate_));
  }
  void setInterruptionHandler(std::function<void()> handler) override {
    const auto gate = gate_;
    connection_.interruptionHandler = ^{
      (void)macos::runGuarded([&] { gate->pass(handler); });
    };
  }
  void setInvalidationHandler(std::function<void()> handler) override {
    const auto gate = gate_;
    connection_.invalidationHandler = ^{
      (void)macos::runGuarded([&] { gate->pass(handler); });
    };
  }

  void resume() override {
    isResumed_ = true;
    [connection_ resume];
  }

  std::shared_ptr<Launcher> remoteObjectProxy(ServiceErrorHandler errorHandler) override {
    const auto gate = gate_;
    id<NSObject> proxy = [connection_ remoteObjectProxyWithErrorHandler:^(NSError* error) {
      (void)macos::runGuarded([&] { gate->pass([&] { errorHandler(macos::bridgedError(error)); }); });
    }];
    if (![proxy conformsToProtocol:@protocol(OrvoAppBundleInstallerLauncherXPCProtocol)]) return nullptr;
    return std::make_shared<LauncherProxy>(static_cast<id<OrvoAppBundleInstallerLauncherXPCProtocol>>(proxy),
                                           gate_);
  }

  void invalidate() override { [connection_ invalidate]; }

 private:
  NSXPCConnection* connection_;
  bool isResumed_ = false;
  std::shared_ptr<HandlerGate> gate_ = std::make_shared<HandlerGate>();
};

class SystemServiceConnections final : public ServiceConnectionMaking {
 public:
  explicit SystemServiceConnections(const std::filesystem::path& hostBundle) : hostBundle_(hostBundle) {}

  // The system finds services by name inside the running program's own bundle and nowhere else.
  std::shared_ptr<ServiceConnection> connectionToService(const std::string& serviceName) override {
    NSURL* host = macos::fileURL(hostBundle_).URLByResolvingSymlinksInPath;
    NSURL* own = NSBundle.mainBundle.bundleURL.URLByResolvingSymlinksInPath;
    if (host.path == nil || own.path == nil || ![(NSString*)host.path isEqualToString:(NSString*)own.path]) {
      return nullptr;
    }
    return std::make_shared<XPCServiceConnection>(serviceName);
  }

 private:
  std::filesystem::path hostBundle_;
};

}  // namespace

std::shared_ptr<ServiceConnectionMaking> makeSystemServiceConnections(const std::filesystem::path& hostBundle,
                                                                      std::shared_ptr<FileSystem>,
                                                                      std::shared_ptr<BundleLoading>) {
  return std::make_shared<SystemServiceConnections>(hostBundle);
}

}  // namespace pellam

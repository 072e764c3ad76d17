#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"
#include "platform/macos/xpc_protocols.h"

namespace {

class ProgressProxy final : public pellam::OrvoAppBundleInstallerLauncherProgressXPCProtocol {
 public:
  explicit ProgressProxy(id<OrvoAppBundleInstallerLauncherProgressXPCProtocol> proxy) : proxy_(proxy) {}
  void reportProgress(const pellam::PropertyListDictionary& event) override {
    [proxy_ reportProgress:pellam::macos::dictionaryFrom(event)];
  }

 private:
  id<OrvoAppBundleInstallerLauncherProgressXPCProtocol> proxy_;
};

class XPCIncomingConnection final : public pellam::IncomingServiceConnection {
 public:
  explicit XPCIncomingConnection(NSXPCConnection* connection) : connection_(connection) {}

  std::int32_t processIdentifier() const override { return connection_.processIdentifier; }

  // The wiring's order is fixed: the peer's interface, its proxy, then the interface that this side exports.
  std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherProgressXPCProtocol> remoteObjectProxy(
      pellam::ServiceErrorHandler errorHandler) override {
    connection_.remoteObjectInterface = pellam::macos::progressInterface();
    id<NSObject> proxy = [connection_ remoteObjectProxyWithErrorHandler:^(NSError* error) {
      (void)pellam::macos::runGuarded([&] { errorHandler(pellam::macos::bridgedError(error)); });
    }];
    connection_.exportedInterface = pellam::macos::launcherInterface();
    if (![proxy conformsToProtocol:@protocol(OrvoAppBundleInstallerLauncherProgressXPCProtocol)])
      return nullptr;
    return std::make_shared<ProgressProxy>(
        static_cast<id<OrvoAppBundleInstallerLauncherProgressXPCProtocol>>(proxy));
  }

  void setExportedObject(std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherXPCProtocol> object) override {
    if (connection_.exportedInterface == nil) {
      connection_.exportedInterface = pellam::macos::launcherInterface();
    }
    connection_.exportedObject = pellam::macos::exportedLauncher(std::move(object));
  }

  void resume() override { [connection_ resume]; }

 private:
  NSXPCConnection* connection_;
};

}  // namespace

@interface PellamServiceListenerDelegate : NSObject <NSXPCListenerDelegate>
@property(nonatomic) pellam::ServiceListenerDelegate* delegate;
@end

@implementation PellamServiceListenerDelegate
- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)newConnection {
  (void)listener;
  if (self.delegate == nullptr) return NO;
  bool isAccepted = false;
  const bool isAnswered = pellam::macos::runGuarded([&] {
    XPCIncomingConnection connection(newConnection);
    isAccepted = self.delegate->shouldAcceptNewConnection(connection);
  });
  return isAnswered && isAccepted;
}
@end

namespace pellam {

namespace {

// The listener does not keep its delegate, and the service runs until the process ends, so both are held for
// the whole process.
PellamServiceListenerDelegate* processDelegate;
NSXPCListener* processListener;

class XPCServiceListener final : public ServiceListener {
 public:
  XPCServiceListener() {
    processDelegate = [[PellamServiceListenerDelegate alloc] init];
    processListener = [NSXPCListener serviceListener];
  }
  void setDelegate(ServiceListenerDelegate* delegate) override {
    processDelegate.delegate = delegate;
    processListener.delegate = processDelegate;
  }
  // The service listener takes the main thread over and never comes back.
  int resume() override {
    [processListener resume];
    return 0;
  }
};

}  // namespace

std::shared_ptr<ServiceListener> makeServiceListener() { return std::make_shared<XPCServiceListener>(); }

}  // namespace pellam

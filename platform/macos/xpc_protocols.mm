#include "platform/macos/xpc_protocols.h"

#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"

@interface PellamExportedLauncher : NSObject <OrvoAppBundleInstallerLauncherXPCProtocol>
- (instancetype)initWithObject:(std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherXPCProtocol>)object
    NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;
@end

@implementation PellamExportedLauncher {
  std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherXPCProtocol> _object;
}
- (instancetype)initWithObject:(std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherXPCProtocol>)object {
  if ((self = [super init])) _object = std::move(object);
  return self;
}
- (void)launchReplacementWithMessage:(NSDictionary*)message reply:(void (^)(NSDictionary*))reply {
  const bool isTaken = pellam::macos::runGuarded([&] {
    _object->launchReplacement(pellam::macos::dictionaryOf(message),
                               [reply](const pellam::PropertyListDictionary& answer) {
                                 reply(pellam::macos::dictionaryFrom(answer));
                               });
  });
  // No answer would leave the host to its time-out; one without a result is a protocol failure at once.
  if (!isTaken) reply(pellam::macos::dictionaryFrom({}));
}
@end

@interface PellamExportedProgressReceiver : NSObject <OrvoAppBundleInstallerLauncherProgressXPCProtocol>
- (instancetype)initWithObject:
    (std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherProgressXPCProtocol>)object
    NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;
@end

@implementation PellamExportedProgressReceiver {
  std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherProgressXPCProtocol> _object;
}
- (instancetype)initWithObject:
    (std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherProgressXPCProtocol>)object {
  if ((self = [super init])) _object = std::move(object);
  return self;
}
- (void)reportProgress:(NSDictionary*)event {
  (void)pellam::macos::runGuarded([&] { _object->reportProgress(pellam::macos::dictionaryOf(event)); });
}
@end

namespace pellam::macos {

NSXPCInterface* launcherInterface() {
  return [NSXPCInterface interfaceWithProtocol:@protocol(OrvoAppBundleInstallerLauncherXPCProtocol)];
}

NSXPCInterface* progressInterface() {
  return [NSXPCInterface interfaceWithProtocol:@protocol(OrvoAppBundleInstallerLauncherProgressXPCProtocol)];
}

id<OrvoAppBundleInstallerLauncherXPCProtocol> exportedLauncher(
    std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherXPCProtocol> object) {
  return [[PellamExportedLauncher alloc] initWithObject:std::move(object)];
}

id<OrvoAppBundleInstallerLauncherProgressXPCProtocol> exportedProgressReceiver(
    std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherProgressXPCProtocol> object) {
  return [[PellamExportedProgressReceiver alloc] initWithObject:std::move(object)];
}

}  // namespace pellam::macos

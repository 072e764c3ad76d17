#pragma once

#import <Foundation/Foundation.h>

#include "platform/service_connection.h"

// The two protocols that cross the launcher connection, as its runtime names them, and the objects that stand
// behind them. Both ends are built from these definitions.

@protocol OrvoAppBundleInstallerLauncherXPCProtocol
- (void)launchReplacementWithMessage:(nonnull NSDictionary*)message
                               reply:(nonnull void (^)(NSDictionary* _Nonnull))reply;
@end

@protocol OrvoAppBundleInstallerLauncherProgressXPCProtocol
- (void)reportProgress:(nonnull NSDictionary*)event;
@end

namespace pellam::macos {

// Interfaces made from their protocols alone: dictionaries then carry nothing but property-list values.
[[nodiscard]] NSXPCInterface* _Nonnull launcherInterface();
[[nodiscard]] NSXPCInterface* _Nonnull progressInterface();

// The object as the connection sees it; it keeps the given one alive.
[[nodiscard]] id<OrvoAppBundleInstallerLauncherXPCProtocol> _Nonnull exportedLauncher(
    std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherXPCProtocol> object);
[[nodiscard]] id<OrvoAppBundleInstallerLauncherProgressXPCProtocol> _Nonnull exportedProgressReceiver(
    std::shared_ptr<pellam::OrvoAppBundleInstallerLauncherProgressXPCProtocol> object);

}  // namespace pellam::macos

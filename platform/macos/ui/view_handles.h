#pragma once

#import <AppKit/AppKit.h>

#include <functional>
#include <memory>

#include "platform/view.h"

// A button that is its own target and calls a function. Main thread only, as every view.
@interface OrvoUpdateProgressActionButton : NSButton
- (void)setPellamActionHandler:(std::function<void(pellam::Button&)>)handler;
- (void)performProgressAction:(nullable id)sender;
@end

// A progress bar that knows whether it moves.
@interface PellamProgressIndicator : NSProgressIndicator
@property(nonatomic, readonly) BOOL moves;
@end

namespace pellam::macos {

// The handle for a view, of the class that its kind asks for.
[[nodiscard]] std::shared_ptr<View> handleFor(NSView* _Nonnull view);

// The view behind a handle that was made here; nil for any other.
[[nodiscard]] NSView* _Nullable viewBehind(View& handle);

}  // namespace pellam::macos

#pragma once

#import <AppKit/AppKit.h>

#include "platform/window_toolkit.h"

// The contents of the two windows, laid out with constraints in an empty view. Main thread only.
namespace pellam::macos {

void addPromptContent(NSView* _Nonnull contentView, const UpdatePromptContent& content);
void addProgressContent(NSView* _Nonnull contentView, const ProgressContent& content);

}  // namespace pellam::macos

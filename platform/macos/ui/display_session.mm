#include "platform/macos/ui/display_session.h"

#import <AppKit/AppKit.h>
#import <CoreGraphics/CoreGraphics.h>

#include "platform/window_toolkit.h"

namespace pellam::macos {

void connectToDisplay() {
  NSDictionary* session = CFBridgingRelease(CGSessionCopyCurrentDictionary());
  if (session == nil) throw DisplayUnavailable("There is no display for this session.");
  (void)NSApplication.sharedApplication;
  if (NSScreen.mainScreen == nil) throw DisplayUnavailable("There is no display for this session.");
}

}  // namespace pellam::macos

// stage: compile
// refused: 'activate' is only available on macOS 14\.0 or newer
#import <AppKit/AppKit.h>
void comeForward(NSApplication* application) {
#ifndef MISTAKE
  if (@available(macOS 14.0, *))
#endif
    [application activate];
}

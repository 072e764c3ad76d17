// stage: link
// frameworks: Foundation CoreFoundation AppKit
// frameworks with the mistake: Foundation CoreFoundation
// refused: undefined symbol: OBJC_CLASS_\$_NSWorkspace
#import <AppKit/AppKit.h>
int main() { return [NSWorkspace.sharedWorkspace openURL:[NSURL fileURLWithPath:@"/"]] ? 0 : 1; }

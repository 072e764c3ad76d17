#include "platform/macos/ui/system_window.h"

#import <AppKit/AppKit.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"
#include "platform/macos/ui/view_handles.h"

// Notices that a window goes away, whoever closes it.
@interface PellamWindowDelegate : NSObject <NSWindowDelegate>
@property(nonatomic, readonly, getter=isClosing) BOOL closing;  // from the moment that it begins to go
@property(nonatomic, readonly, getter=isClosed) BOOL closed;    // once its handler has been told
- (void)setWillCloseHandler:(std::function<void()>)handler;
@end

@implementation PellamWindowDelegate {
  std::function<void()> _willCloseHandler;
}
- (void)setWillCloseHandler:(std::function<void()>)handler {
  _willCloseHandler = std::move(handler);
}
- (void)windowWillClose:(NSNotification*)notification {
  if (_closing) return;
  _closing = YES;
  // Taken out first: the handler may let go of the window.
  const std::function<void()> handler = std::exchange(_willCloseHandler, nullptr);
  // The handler may drop the window's handle, which owns both of them; they outlive the closing that goes on.
  PellamWindowDelegate* const kept = self;
  NSWindow* const window = notification.object;
  dispatch_async(dispatch_get_main_queue(), ^{
    (void)window;
    (void)kept;
  });
  if (handler) (void)pellam::macos::runGuarded(handler);
  kept->_closed = YES;
}
@end

namespace pellam::macos {

namespace {

constexpr CGFloat titleBarHeight = 32;

class SystemWindow final : public Window {
 public:
  explicit SystemWindow(const WindowDescription& description)
      : delegate_([[PellamWindowDelegate alloc] init]),
        window_([[NSWindow alloc] initWithContentRect:contentRectangle(description.contentSize)
                                            styleMask:styleOf(description)
                                              backing:NSBackingStoreBuffered
                                                defer:NO]) {
    if (description.minimumSize) {
      window_.minSize = contentRectangle(*description.minimumSize).size;
    }
    // Its owner is this handle, not its being open.
    window_.releasedWhenClosed = NO;
    window_.collectionBehavior = NSWindowCollectionBehaviorCanJoinAllSpaces;
    window_.level = NSFloatingWindowLevel;
    window_.hidesOnDeactivate = YES;
    window_.tabbingMode = NSWindowTabbingModeDisallowed;
    window_.delegate = delegate_;
    window_.title = stringFrom(description.title);
  }
  ~SystemWindow() override {
    [delegate_ setWillCloseHandler:nullptr];
    close();
  }

  std::string title() const override { return textOf(window_.title); }
  std::shared_ptr<View> contentView() override {
    NSView* view = delegate_.closed ? nil : window_.contentView;
    return view == nil ? nullptr : handleFor(view);
  }
  void setWillCloseHandler(std::function<void()> handler) override {
    [delegate_ setWillCloseHandler:std::move(handler)];
  }
  void center() override { [window_ center]; }
  void makeKeyAndOrderFront() override { [window_ makeKeyAndOrderFront:nil]; }
  void performClose() override { [window_ performClose:nil]; }
  void close() final {
    if (!delegate_.closing) [window_ close];
  }

 private:
  // A feed may ask for more than there is: no window is larger than the screen.
  static NSRect contentRectangle(const WindowSize& size) {
    const NSSize screen = NSScreen.mainScreen.visibleFrame.size;
    const bool isKnown = screen.width > 0 && screen.height > titleBarHeight;
    return NSMakeRect(0, 0, isKnown ? std::min(size.width, screen.width) : size.width,
                      isKnown ? std::min(size.height, screen.height - titleBarHeight) : size.height);
  }
  static NSWindowStyleMask styleOf(const WindowDescription& description) {
    NSWindowStyleMask style = NSWindowStyleMaskTitled;
    if (description.isClosable) style |= NSWindowStyleMaskClosable;
    if (description.isResizable) style |= NSWindowStyleMaskResizable;
    return style;
  }

  PellamWindowDelegate* delegate_;
  NSWindow* window_;
};

}  // namespace

std::shared_ptr<Window> makeSystemWindow(const WindowDescription& description) {
  return std::make_shared<SystemWindow>(description);
}

}  // namespace pellam::macos

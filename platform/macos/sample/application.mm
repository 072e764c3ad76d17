#include "platform/sample/application.h"

#import <AppKit/AppKit.h>

#include <map>
#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"
#include "platform/macos/ui/alerts.h"
#include "platform/macos/ui/display_session.h"

namespace {

// An open alert has a loop of its own, which has to end first; stopping from inside it would end only that
// one, so the rest is left to the outer loop's mode.
void endEventLoop() {
  pellam::macos::closeOpenAlerts();
  CFRunLoopPerformBlock(CFRunLoopGetMain(), kCFRunLoopDefaultMode, ^{
    [NSApplication.sharedApplication stop:nil];
    pellam::macos::wakeEventLoop();
  });
  CFRunLoopWakeUp(CFRunLoopGetMain());
}

}  // namespace

// The menu's target and the document window's delegate.
@interface PellamApplicationController : NSObject <NSWindowDelegate>
- (void)addItemTo:(NSMenu*)menu title:(NSString*)title action:(std::function<void()>)action;
- (void)performItem:(NSMenuItem*)sender;
@end

@implementation PellamApplicationController {
  std::map<NSInteger, std::function<void()>> _actions;
}
- (void)addItemTo:(NSMenu*)menu title:(NSString*)title action:(std::function<void()>)action {
  NSMenuItem* item = [[NSMenuItem alloc] initWithTitle:title
                                                action:@selector(performItem:)
                                         keyEquivalent:@""];
  item.target = self;
  item.tag = static_cast<NSInteger>(_actions.size());
  _actions[item.tag] = std::move(action);
  [menu addItem:item];
}
- (void)performItem:(NSMenuItem*)sender {
  const auto found = _actions.find(sender.tag);
  if (found == _actions.end()) return;
  (void)pellam::macos::runGuarded([action = found->second] {
    if (action) action();
  });
}
- (void)windowWillClose:(NSNotification*)notification {
  (void)notification;
  endEventLoop();
}
@end

namespace pellam {

namespace {

class SystemApplication final : public Application {
 public:
  SystemApplication() : controller_([[PellamApplicationController alloc] init]) {
    macos::allowAlerts();
    (void)[NSApplication.sharedApplication setActivationPolicy:NSApplicationActivationPolicyRegular];
  }
  SystemApplication(const SystemApplication&) = delete;
  SystemApplication& operator=(const SystemApplication&) = delete;
  ~SystemApplication() override {
    window_.delegate = nil;
    [window_ close];
  }

  void showDocumentWindow(const std::string& title, const std::string& text, const std::string& menuTitle,
                          std::vector<ApplicationMenuItem> menu) override {
    showMenu(menuTitle, std::move(menu));
    const NSRect frame = NSMakeRect(0, 0, 560, 360);
    window_ =
        [[NSWindow alloc] initWithContentRect:frame
                                    styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                                              NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskResizable
                                      backing:NSBackingStoreBuffered
                                        defer:NO];
    window_.releasedWhenClosed = NO;
    window_.delegate = controller_;
    window_.title = macos::stringFrom(title);
    NSTextView* document = [[NSTextView alloc] initWithFrame:frame];
    document.string = macos::stringFrom(text);
    NSScrollView* scroller = [[NSScrollView alloc] initWithFrame:frame];
    scroller.hasVerticalScroller = YES;
    scroller.documentView = document;
    window_.contentView = scroller;
    [window_ center];
    [window_ makeKeyAndOrderFront:nil];
  }

  void run() override { [NSApplication.sharedApplication run]; }

  void stop() override {
    // At once: an alert may be about to open that would not see the block, being opened by one of the same
    // turn.
    macos::refuseFurtherAlerts();
    // Not over the main queue, which waits when work that came through it runs an alert's loop.
    CFRunLoopPerformBlock(CFRunLoopGetMain(), kCFRunLoopCommonModes, ^{
      endEventLoop();
    });
    CFRunLoopWakeUp(CFRunLoopGetMain());
  }

 private:
  void showMenu(const std::string& title, std::vector<ApplicationMenuItem> items) {
    NSMenu* menu = [[NSMenu alloc] initWithTitle:macos::stringFrom(title)];
    for (ApplicationMenuItem& item : items) {
      [controller_ addItemTo:menu title:macos::stringFrom(item.title) action:std::move(item.action)];
    }
    NSMenuItem* holder = [[NSMenuItem alloc] initWithTitle:macos::stringFrom(title)
                                                    action:nil
                                             keyEquivalent:@""];
    holder.submenu = menu;
    // The first menu is always shown under the application's name, whatever its title is.
    NSMenuItem* own = [[NSMenuItem alloc] initWithTitle:@"" action:nil keyEquivalent:@""];
    own.submenu = [[NSMenu alloc] initWithTitle:@""];
    [controller_ addItemTo:(NSMenu*)own.submenu title:@"Quit" action:[] { endEventLoop(); }];
    NSMenu* bar = [[NSMenu alloc] initWithTitle:@""];
    [bar addItem:own];
    [bar addItem:holder];
    NSApplication.sharedApplication.mainMenu = bar;
  }

  PellamApplicationController* controller_;
  NSWindow* window_ = nil;
};

}  // namespace

// The system knows identifier and name from the bundle.
std::unique_ptr<Application> makeSystemApplication(const std::string&, const std::string&) {
  macos::connectToDisplay();
  return std::make_unique<SystemApplication>();
}

}  // namespace pellam

#include "platform/application.h"

#import <AppKit/AppKit.h>

#include <map>
#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/window_toolkit.h"

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
  if (found != _actions.end() && found->second) found->second();
}
- (void)windowWillClose:(NSNotification*)notification {
  (void)notification;
  [NSApplication.sharedApplication stop:nil];
}
@end

namespace pellam {

namespace {

class SystemApplication final : public Application {
 public:
  SystemApplication() : controller_([[PellamApplicationController alloc] init]) {
    (void)[NSApplication.sharedApplication setActivationPolicy:NSApplicationActivationPolicyRegular];
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
    dispatch_async(dispatch_get_main_queue(), ^{
      [NSApplication.sharedApplication stop:nil];
      // The loop looks whether it was stopped after each event; without one it would go on waiting.
      NSEvent* event = [NSEvent otherEventWithType:NSEventTypeApplicationDefined
                                          location:NSZeroPoint
                                     modifierFlags:0
                                         timestamp:0
                                      windowNumber:0
                                           context:nil
                                           subtype:0
                                             data1:0
                                             data2:0];
      if (event != nil) [NSApplication.sharedApplication postEvent:event atStart:YES];
    });
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
    NSMenu* bar = [[NSMenu alloc] initWithTitle:@""];
    [bar addItem:holder];
    NSApplication.sharedApplication.mainMenu = bar;
  }

  PellamApplicationController* controller_;
  NSWindow* window_ = nil;
};

}  // namespace

// The system knows identifier and name from the bundle.
std::unique_ptr<Application> makeSystemApplication(const std::string&, const std::string&) {
  (void)NSApplication.sharedApplication;
  if (NSScreen.mainScreen == nil) throw DisplayUnavailable("There is no display for this session.");
  return std::make_unique<SystemApplication>();
}

}  // namespace pellam

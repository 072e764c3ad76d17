#include "platform/window_toolkit.h"

#import <AppKit/AppKit.h>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/ui/system_window.h"
#include "platform/macos/ui/view_handles.h"
#include "platform/macos/ui/window_contents.h"

namespace pellam {

namespace {

using macos::stringFrom;

NSAlert* alertFrom(const AlertDescription& description) {
  NSAlert* alert = [[NSAlert alloc] init];
  alert.alertStyle =
      description.style == AlertStyle::informational ? NSAlertStyleInformational : NSAlertStyleWarning;
  alert.messageText = stringFrom(description.messageText);
  alert.informativeText = stringFrom(description.informativeText);
  NSButton* last = nil;
  for (const std::string& title : description.buttonTitles)
    last = [alert addButtonWithTitle:stringFrom(title)];
  // The platform gives Escape to a button called "Cancel"; in another language it has another name.
  if (description.buttonTitles.size() > 1) last.keyEquivalent = @"\033";
  if (description.suppressionCheckbox) {
    alert.showsSuppressionButton = YES;
    alert.suppressionButton.title = stringFrom(description.suppressionCheckbox->title);
    alert.suppressionButton.state =
        description.suppressionCheckbox->isOn ? NSControlStateValueOn : NSControlStateValueOff;
  }
  return alert;
}

class SystemWindowToolkit final : public WindowToolkit {
 public:
  std::shared_ptr<Window> makeWindow(const WindowDescription& description) override {
    return macos::makeSystemWindow(description);
  }
  void buildPromptContent(View& contentView, UpdatePromptContent content) override {
    if (NSView* view = macos::viewBehind(contentView)) macos::addPromptContent(view, content);
  }
  void buildProgressContent(View& contentView, const ProgressContent& content) override {
    if (NSView* view = macos::viewBehind(contentView)) macos::addProgressContent(view, content);
  }

  AlertAnswer runModal(const AlertDescription& description) override {
    NSAlert* alert = alertFrom(description);
    const NSModalResponse response = [alert runModal];
    AlertAnswer answer;
    const std::size_t count = description.buttonTitles.empty() ? 1 : description.buttonTitles.size();
    const bool isButton = response >= NSAlertFirstButtonReturn &&
                          response < NSAlertFirstButtonReturn + static_cast<NSModalResponse>(count);
    answer.buttonIndex = isButton ? static_cast<std::size_t>(response - NSAlertFirstButtonReturn) : count - 1;
    if (NSButton* checkbox = description.suppressionCheckbox ? alert.suppressionButton : nil) {
      answer.suppressionIsOn = checkbox.state == NSControlStateValueOn;
    }
    return answer;
  }

  void requestUserAttention() override {
    (void)[NSApplication.sharedApplication requestUserAttention:NSInformationalRequest];
  }
};

}  // namespace

std::shared_ptr<WindowToolkit> makeSystemWindowToolkit() {
  (void)NSApplication.sharedApplication;
  if (NSScreen.mainScreen == nil) throw DisplayUnavailable("There is no display for this session.");
  return std::make_shared<SystemWindowToolkit>();
}

}  // namespace pellam

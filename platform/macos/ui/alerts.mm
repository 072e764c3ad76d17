#include "platform/macos/ui/alerts.h"

#import <AppKit/AppKit.h>

#include <atomic>

#include "platform/macos/foundation_bridge.h"

namespace pellam::macos {

namespace {

std::atomic<bool> areAlertsEnding = false;

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

AlertAnswer lastButton(const AlertDescription& description) {
  AlertAnswer answer;
  answer.buttonIndex = description.buttonTitles.empty() ? 0 : description.buttonTitles.size() - 1;
  if (description.suppressionCheckbox) answer.suppressionIsOn = description.suppressionCheckbox->isOn;
  return answer;
}

// Ends the innermost alert; each that ends sees to the next one.
void endInnermostAlert() {
  if (NSApplication.sharedApplication.modalWindow == nil) return;
  [NSApplication.sharedApplication stopModal];
  wakeEventLoop();
}

}  // namespace

AlertAnswer runAlert(const AlertDescription& description) {
  AlertAnswer answer = lastButton(description);
  if (areAlertsEnding) return answer;
  NSAlert* alert = alertFrom(description);
  const NSModalResponse response = [alert runModal];
  if (areAlertsEnding) endInnermostAlert();
  const auto count = static_cast<NSModalResponse>(answer.buttonIndex + 1);
  if (response >= NSAlertFirstButtonReturn && response < NSAlertFirstButtonReturn + count) {
    answer.buttonIndex = static_cast<std::size_t>(response - NSAlertFirstButtonReturn);
  }
  if (NSButton* checkbox = description.suppressionCheckbox ? alert.suppressionButton : nil) {
    answer.suppressionIsOn = checkbox.state == NSControlStateValueOn;
  }
  return answer;
}

void allowAlerts() { areAlertsEnding = false; }

void refuseFurtherAlerts() { areAlertsEnding = true; }

void closeOpenAlerts() {
  refuseFurtherAlerts();
  endInnermostAlert();
}

void wakeEventLoop() {
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
}

}  // namespace pellam::macos

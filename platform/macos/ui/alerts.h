#pragma once

#include "platform/window_toolkit.h"

// Application-modal alerts, and what becomes of them when the event loop ends. Main thread, unless
// stated otherwise.
namespace pellam::macos {

// Shows an alert, and handles events until it is answered.
[[nodiscard]] AlertAnswer runAlert(const AlertDescription& description);

// Answers every open alert as its last button would, newest first, so that the event loop can end, and from
// then on every further one without showing it.
void closeOpenAlerts();
// Further alerts are answered at once as well. Any thread; an alert that is open stays open.
void refuseFurtherAlerts();
// Alerts are shown again.
void allowAlerts();

// Makes a loop that waits for events look whether it was stopped, which it does after each event.
void wakeEventLoop();

}  // namespace pellam::macos

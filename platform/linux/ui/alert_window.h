#pragma once

#include "platform/window_toolkit.h"

namespace pellam {

// Shows an alert that blocks the application's other windows, and handles events until it is answered.
[[nodiscard]] AlertAnswer runAlert(const AlertDescription& description);

// Answers every open alert as its last button would, newest first, so that the event loop can end, and from
// then on every further one without showing it. Main thread.
void closeOpenAlerts();
// Alerts are shown again. Main thread.
void allowAlerts();

}  // namespace pellam

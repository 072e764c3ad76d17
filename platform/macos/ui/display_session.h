#pragma once

namespace pellam::macos {

// Makes this process an application with windows. Throws DisplayUnavailable where nobody is logged in at a
// display, before the window system is touched: it ends processes that it does not let in. Main thread.
void connectToDisplay();

}  // namespace pellam::macos

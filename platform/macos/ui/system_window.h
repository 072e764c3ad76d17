#pragma once

#include <memory>

#include "platform/window_toolkit.h"

namespace pellam::macos {

// Main thread only.
[[nodiscard]] std::shared_ptr<Window> makeSystemWindow(const WindowDescription& description);

}  // namespace pellam::macos

#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "platform/window_toolkit.h"

namespace pellam {

// The toolkit with the logo's folder and the answer to "can the system confine a web view" as given, for
// tests and for hosts that know better. The question is asked once, before the first prompt. Throws
// DisplayUnavailable.
[[nodiscard]] std::shared_ptr<WindowToolkit> makeWindowToolkit(std::filesystem::path resources,
                                                               std::function<bool()> isWebContentConfined);

}  // namespace pellam

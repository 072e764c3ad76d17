#pragma once

#include "pellam/logger.h"

namespace pellam {

// Writes one line to the system log (format "%@", so nothing in the line is interpreted). Any thread.
[[nodiscard]] DiagnosticLog makeSystemLog();

}  // namespace pellam

#pragma once

#include "foundation/diagnostic_log.h"

namespace pellam {

// Writes one line to the system log (format "%@", so nothing in the line is interpreted), control characters
// as their numbers. Any thread.
[[nodiscard]] DiagnosticLog makeSystemLog();

}  // namespace pellam

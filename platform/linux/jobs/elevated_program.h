#pragma once

#include <sys/types.h>

#include "platform/linux/jobs/job_description.h"

namespace pellam {

// Runs a job as root from an ordinary process, where no service manager can do it: an administrator is asked
// by "pkexec". Only for programs that pass requirePrivilegedProgram. Blocks while the administrator is asked,
// at most five minutes, and returns when the program runs as root, with its process
// identifier, or 0 when it is over already. Throws PlatformError: ECANCELED when the
// question was dismissed, EACCES when it was denied or could not be asked, ENOENT without pkexec.
[[nodiscard]] pid_t startElevated(const JobDescription& job);

}  // namespace pellam

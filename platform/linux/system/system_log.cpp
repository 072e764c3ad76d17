#include "platform/system_log.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdio>

namespace pellam {

DiagnosticLog makeSystemLog() {
  return DiagnosticLog([](const std::string& line) {
    const std::string visible = visibleText(line);
    ::syslog(LOG_USER | LOG_NOTICE, "%s", visible.c_str());
    // Somebody who starts a program by hand sees its diagnostics, too.
    if (::isatty(STDERR_FILENO) == 1) (void)std::fprintf(stderr, "%s\n", visible.c_str());
  });
}

}  // namespace pellam

#include "platform/terminal.h"

#include <unistd.h>

namespace pellam {

bool standardInputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }
bool standardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

}  // namespace pellam

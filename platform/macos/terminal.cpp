#include "platform/terminal.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/macos/file_descriptor.h"

namespace pellam {

bool standardInputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }
bool standardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

std::optional<std::string> readTerminalLine(const CancellationToken& cancellation) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return std::nullopt;
  const macos::FileDescriptor wakeRead(ends[0]);
  const macos::FileDescriptor wakeWrite(ends[1]);
  const CancellationRegistration registration =
      cancellation.onCancel([&wakeWrite] { (void)!::write(wakeWrite.get(), "", 1); });
  std::string line;
  for (;;) {
    // Not poll(), which does not support terminals on this system.
    fd_set waiting;
    FD_ZERO(&waiting);
    FD_SET(STDIN_FILENO, &waiting);
    FD_SET(wakeRead.get(), &waiting);
    if (::select(wakeRead.get() + 1, &waiting, nullptr, nullptr, nullptr) < 0) {
      if (errno == EINTR) continue;
      return std::nullopt;
    }
    if (cancellation.isCancelled()) return std::nullopt;
    if (!FD_ISSET(STDIN_FILENO, &waiting)) continue;
    char byte = 0;
    if (::read(STDIN_FILENO, &byte, 1) != 1) return std::nullopt;
    if (byte == '\n') return line;
    line += byte;
  }
}

}  // namespace pellam

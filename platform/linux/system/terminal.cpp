#include "platform/terminal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/linux/system/file_descriptor.h"

namespace pellam {

bool standardInputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }
bool standardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

std::optional<std::string> readTerminalLine(const CancellationToken& cancellation) {
  const FileDescriptor wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  const CancellationRegistration registration =
      cancellation.onCancel([&wake] { (void)::eventfd_write(wake.get(), 1); });
  std::string line;
  for (;;) {
    std::array<pollfd, 2> waiting = {{{STDIN_FILENO, POLLIN, 0}, {wake.get(), POLLIN, 0}}};
    if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) return std::nullopt;
    if (cancellation.isCancelled()) return std::nullopt;
    if (waiting[0].revents == 0) continue;
    char byte = 0;
    if (::read(STDIN_FILENO, &byte, 1) != 1) return std::nullopt;
    if (byte == '\n') return line;
    line += byte;
  }
}

}  // namespace pellam

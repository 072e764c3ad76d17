#include "platform/process_information.h"

#include <sys/event.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/macos/file_descriptor.h"
#include "platform/macos/file_steps.h"
#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

class SystemProcessInformation final : public ProcessInformation {
 public:
  std::int32_t processIdentifier() const override { return ::getpid(); }
  std::uint32_t userID() const override { return ::getuid(); }
  std::uint32_t effectiveUserID() const override { return ::geteuid(); }
  std::uint32_t groupID() const override { return ::getgid(); }
  std::string userName() const override { return macos::textOf(NSUserName()); }
  std::string homeDirectory() const override { return macos::textOf(NSHomeDirectory()); }

  OperatingSystemVersion operatingSystemVersion() const override {
    const NSOperatingSystemVersion version = NSProcessInfo.processInfo.operatingSystemVersion;
    return asSold({version.majorVersion, version.minorVersion, version.patchVersion});
  }

  bool waitForProcessToEnd(std::int32_t processIdentifier, std::chrono::milliseconds limit) const override {
    if (processIdentifier <= 0) return true;
    const macos::FileDescriptor queue(::kqueue());
    struct kevent change {};
    EV_SET(&change, static_cast<uintptr_t>(processIdentifier), EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0,
           nullptr);
    if (::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) != 0) {
      if (errno == ESRCH) return true;
      macos::throwError(errno, "kevent");
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
      const auto left = std::max(std::chrono::nanoseconds(0),
                                 std::chrono::nanoseconds(deadline - std::chrono::steady_clock::now()));
      const struct timespec wait = {static_cast<time_t>(left.count() / 1'000'000'000),
                                    static_cast<long>(left.count() % 1'000'000'000)};
      struct kevent event {};
      const int count = ::kevent(queue.get(), nullptr, 0, &event, 1, &wait);
      if (count > 0) return true;
      if (count == 0 && left.count() == 0) return false;
      if (count < 0 && errno != EINTR) macos::throwError(errno, "kevent");
    }
  }
};

}  // namespace

std::shared_ptr<ProcessInformation> makeSystemProcessInformation() {
  return std::make_shared<SystemProcessInformation>();
}

}  // namespace pellam

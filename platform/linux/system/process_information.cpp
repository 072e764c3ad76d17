#include "platform/process_information.h"

#include <poll.h>
#include <pwd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "foundation/decimal.h"
#include "platform/linux/system/file_descriptor.h"
#include "platform/linux/system/operating_system_release.h"
#include "platform/linux/system/posix_error.h"

namespace pellam {

OperatingSystemVersion operatingSystemVersionFromRelease(std::string_view release) {
  constexpr std::string_view key = "VERSION_ID=";
  OperatingSystemVersion version;
  while (!release.empty()) {
    const auto end = release.find('\n');
    std::string_view line = release.substr(0, end);
    release = end == std::string_view::npos ? std::string_view() : release.substr(end + 1);
    if (!line.starts_with(key)) continue;
    line.remove_prefix(key.size());
    if (line.size() >= 2 && (line.front() == '"' || line.front() == '\'') && line.back() == line.front()) {
      line = line.substr(1, line.size() - 2);
    }
    for (std::int64_t* field : {&version.major, &version.minor, &version.patch}) {
      const auto point = line.find('.');
      *field = parseDecimal<std::int64_t>(line.substr(0, point)).value_or(0);
      if (point == std::string_view::npos) break;
      line.remove_prefix(point + 1);
    }
    break;
  }
  return version;
}

namespace {

class SystemProcessInformation final : public ProcessInformation {
 public:
  std::int32_t processIdentifier() const override { return ::getpid(); }
  std::uint32_t userID() const override { return ::getuid(); }
  std::uint32_t effectiveUserID() const override { return ::geteuid(); }
  std::uint32_t groupID() const override { return ::getgid(); }

  std::string userName() const override {
    const Account account;
    return account.entry != nullptr ? account.entry->pw_name : std::to_string(::getuid());
  }

  std::string homeDirectory() const override {
    if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') return home;
    const Account account;
    return account.entry != nullptr ? account.entry->pw_dir : "";
  }

  OperatingSystemVersion operatingSystemVersion() const override {
    std::ifstream file("/etc/os-release");
    const std::string release((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return operatingSystemVersionFromRelease(release);
  }

  bool waitForProcessToEnd(std::int32_t processIdentifier, std::chrono::milliseconds limit) const override {
    if (processIdentifier <= 0) return true;
    const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, processIdentifier, 0)));
    if (!process.isOpen() && errno == ESRCH) return true;
    if (!process.isOpen()) posix::throwError(errno, "pidfd_open");
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      pollfd entry{process.get(), POLLIN, 0};
      const int ready = ::poll(&entry, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
      if (ready > 0) return true;
      if (ready == 0 && left.count() <= 0) return false;
      if (ready < 0 && errno != EINTR) posix::throwError(errno, "poll");
    }
  }

 private:
  // This user's entry in the account database, null when there is none.
  struct Account {
    Account() { (void)::getpwuid_r(::getuid(), &storage, buffer.data(), buffer.size(), &entry); }
    std::array<char, 16'384> buffer{};
    passwd storage{};
    passwd* entry = nullptr;
  };
};

}  // namespace

std::shared_ptr<ProcessInformation> makeSystemProcessInformation() {
  return std::make_shared<SystemProcessInformation>();
}

}  // namespace pellam

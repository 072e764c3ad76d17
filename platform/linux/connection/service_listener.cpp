#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <list>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "foundation/decimal.h"
#include "foundation/safe_text.h"
#include "platform/linux/connection/bus_names.h"
#include "platform/linux/connection/incoming_connection.h"
#include "platform/linux/system/file_trust.h"
#include "platform/service_connection.h"

namespace pellam {

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 64;
constexpr std::size_t maximumConnections = 64;
constexpr int starvedMilliseconds = 500;

struct Peer {
  pid_t processIdentifier = 0;
  bool isAllowed = false;
};

// The other end may belong to this user or to root, to nobody else.
Peer peerOf(int socket) {
  ucred credentials{};
  socklen_t length = sizeof credentials;
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return {};
  return {credentials.pid, credentials.uid == ::getuid() || credentials.uid == 0};
}

// What this service runs with its user's rights: itself, and the tools and the helper of the application that
// embeds it.
std::vector<std::filesystem::path> trustedPrograms() {
  std::error_code ignored;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ignored);
  std::vector<std::filesystem::path> programs = {self};
  const std::filesystem::path services = self.parent_path().parent_path().parent_path().parent_path();
  if (services.filename() != "XPCServices") return programs;
  for (const char* name : {"pellam-codesign", "PellamUpdateInstaller"}) {
    programs.push_back(services.parent_path() / "MacOS" / name);
  }
  return programs;
}

// The service goes on: whose bundle this is was decided by whoever started it. But nobody shall have to
// guess.
void warnOfFilesThatOthersCanChange() {
  for (const std::filesystem::path& program : trustedPrograms()) {
    const std::optional<std::filesystem::path> item = itemThatOthersCanChange(program);
    if (!item) continue;
    const std::string line =
        visibleText("warning: " + program.filename().string() + " is not to be trusted: " + item->string() +
                    " can be changed by others than root and the user of this service");
    ::syslog(LOG_USER | LOG_WARNING, "%s", line.c_str());
    (void)std::fprintf(stderr, "%s\n", line.c_str());
    return;
  }
}

bool isStreamSocket(int descriptor) {
  const auto hasOption = [descriptor](int option, int wanted) {
    int value = 0;
    socklen_t length = sizeof value;
    return ::getsockopt(descriptor, SOL_SOCKET, option, &value, &length) == 0 && value == wanted;
  };
  return hasOption(SO_DOMAIN, AF_UNIX) && hasOption(SO_TYPE, SOCK_STREAM) && hasOption(SO_ACCEPTCONN, 0);
}

// Serves the one connection that the host gave this process when it started it.
class InheritedListener final : public ServiceListener {
 public:
  explicit InheritedListener(FileDescriptor socket) : socket_(std::move(socket)) {}
  void setDelegate(ServiceListenerDelegate* delegate) override { delegate_ = delegate; }

  int resume() override {
    const Peer peer = peerOf(socket_.get());
    if (!peer.isAllowed) return exitFailure;
    BusIncomingConnection connection(std::move(socket_), peer.processIdentifier, nullptr);
    if (!delegate_->shouldAcceptNewConnection(connection)) return exitFailure;
    // The host closing its end, or dying, is what ends the loop.
    connection.join();
    return 0;
  }

 private:
  FileDescriptor socket_;
  ServiceListenerDelegate* delegate_ = nullptr;
};

// What was handed over is no connection: nothing is served.
class RefusingListener final : public ServiceListener {
 public:
  void setDelegate(ServiceListenerDelegate*) override {}
  int resume() override {
    (void)std::fprintf(stderr, "%s does not name a connected stream socket\n", bus_names::connectionVariable);
    return exitUsage;
  }
};

std::filesystem::path runtimeFolder() {
  const char* variable = std::getenv("XDG_RUNTIME_DIR");
  std::error_code ignored;
  if (variable != nullptr && *variable == '/' && std::filesystem::is_directory(variable, ignored))
    return variable;
  if (::getuid() == 0 && std::filesystem::is_directory("/run", ignored)) return "/run";
  return std::filesystem::temp_directory_path();
}

// A listening socket in a fresh folder that only this user may enter. Both go with the object.
class SocketFolder {
 public:
  SocketFolder() {
    std::string pattern = (runtimeFolder() / "pellam-launcher-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) fail("mkdtemp");
    folder_ = pattern;
    path_ = pattern + "/socket";
    try {
      listen();
    } catch (...) {
      remove();
      throw;
    }
  }
  ~SocketFolder() { remove(); }
  SocketFolder(const SocketFolder&) = delete;
  SocketFolder& operator=(const SocketFolder&) = delete;

  [[nodiscard]] int descriptor() const { return socket_.get(); }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  [[noreturn]] static void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
  }

  void listen() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path) {
      errno = ENAMETOOLONG;
      fail("socket path");
    }
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
    socket_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_.isOpen()) fail("socket");
    if (::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) fail("bind");
    if (::listen(socket_.get(), SOMAXCONN) != 0) fail("listen");
  }

  void remove() {
    ::unlink(path_.c_str());
    ::rmdir(folder_.c_str());
  }

  std::string folder_;
  std::string path_;
  FileDescriptor socket_;
};

// Serves everybody who finds the socket until the process is asked to end.
class SocketListener final : public ServiceListener {
 public:
  SocketListener() {
    // Blocked before any thread is made, so that the request reaches the descriptor below and nothing else.
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, SIGINT);
    ::sigprocmask(SIG_BLOCK, &signals_, &previousSignals_);
  }

  void setDelegate(ServiceListenerDelegate* delegate) override { delegate_ = delegate; }

  int resume() override {
    try {
      serve();
      return 0;
    } catch (const std::system_error& error) {
      (void)std::fprintf(stderr, "cannot listen: %s\n", error.what());
      return exitFailure;
    }
  }

 private:
  struct Served {
    std::unique_ptr<BusIncomingConnection> connection;
    bool isMakingRoom = false;
  };

  void serve() {
    const FileDescriptor interrupts(::signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK));
    const FileDescriptor changes(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!interrupts.isOpen() || !changes.isOpen()) {
      throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    std::optional<SocketFolder> folder(std::in_place);
    (void)std::printf("%s\n", folder->path().c_str());
    (void)std::fflush(stdout);
    for (;;) {
      removeEnded();
      const bool hasRoom = connections_.size() < maximumConnections && !isStarved_;
      // Without room newcomers wait in the queue, and are looked at when somebody can make room for them.
      const int listening = hasRoom || oldestIdle() != nullptr ? folder->descriptor() : -1;
      std::array<pollfd, 3> waiting = {
          {{interrupts.get(), POLLIN, 0}, {changes.get(), POLLIN, 0}, {listening, POLLIN, 0}}};
      const int count = ::poll(waiting.data(), waiting.size(), isStarved_ ? starvedMilliseconds : -1);
      if (count < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
      if (waiting[0].revents != 0) {
        // Taken, so that it is no longer pending when signals are let through again.
        signalfd_siginfo request{};
        (void)!::read(interrupts.get(), &request, sizeof request);
        break;
      }
      eventfd_t ignored = 0;
      (void)::eventfd_read(changes.get(), &ignored);
      if (waiting[2].revents == 0) {
        isStarved_ = false;  // tried again, with what has been given back meanwhile
      } else if (hasRoom) {
        accept(folder->descriptor(), changes.get());
      } else {
        makeRoom();
      }
    }
    // Nobody finds the socket any more. A second request ends the process at once, also while a launch is
    // running.
    folder.reset();
    ::sigprocmask(SIG_SETMASK, &previousSignals_, nullptr);
    for (Served& served : connections_) served.connection->stopWhenIdle();
    for (Served& served : connections_) served.connection->join();
    connections_.clear();
  }

  void accept(int listening, int changes) {
    FileDescriptor socket(::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket.isOpen()) {
      // Of these accept fails at once and for everybody who waits, until something is given back.
      isStarved_ = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
      return;
    }
    const Peer peer = peerOf(socket.get());
    if (!peer.isAllowed) return;
    connections_.emplace_back();
    try {
      connections_.back().connection = std::make_unique<BusIncomingConnection>(
          std::move(socket), peer.processIdentifier, [changes] { (void)::eventfd_write(changes, 1); });
      if (!delegate_->shouldAcceptNewConnection(*connections_.back().connection)) connections_.pop_back();
    } catch (const std::system_error&) {
      connections_.pop_back();
      isStarved_ = true;
    }
  }

  // The one that has been connected for longest of those that wait for nothing; null while one is leaving.
  Served* oldestIdle() {
    Served* oldest = nullptr;
    for (Served& served : connections_) {
      if (!served.connection->isIdle()) continue;
      if (served.isMakingRoom) return nullptr;
      if (oldest == nullptr) oldest = &served;
    }
    return oldest;
  }

  // Somebody who only stays connected keeps nobody out.
  void makeRoom() {
    Served* leaving = oldestIdle();
    if (leaving == nullptr) return;
    leaving->isMakingRoom = true;
    leaving->connection->stopWhenIdle();
  }

  void removeEnded() {
    for (auto served = connections_.begin(); served != connections_.end();) {
      const bool hasEnded = served->connection->hasEnded();
      if (hasEnded) served->connection->join();
      served = hasEnded ? connections_.erase(served) : std::next(served);
    }
  }

  ServiceListenerDelegate* delegate_ = nullptr;
  sigset_t signals_{};
  sigset_t previousSignals_{};
  std::list<Served> connections_;
  bool isStarved_ = false;  // of descriptors or memory
};

// Leaves the process that started this one, so that it has nothing to wait for and a launch in progress
// outlives it. The process has one thread at this point.
bool leaveStarter() {
  const pid_t successor = ::fork();
  if (successor > 0) ::_exit(0);
  return successor == 0;
}

}  // namespace

std::shared_ptr<ServiceListener> makeServiceListener() {
  ::signal(SIGPIPE, SIG_IGN);
  warnOfFilesThatOthersCanChange();
  const char* variable = std::getenv(bus_names::connectionVariable);
  if (variable == nullptr) return std::make_shared<SocketListener>();
  const std::optional<int> descriptor = parseDecimal<int>(variable);
  // Tools that this process starts must not take themselves for services.
  ::unsetenv(bus_names::connectionVariable);
  if (!descriptor || *descriptor < 0 || !isStreamSocket(*descriptor) ||
      ::fcntl(*descriptor, F_SETFD, FD_CLOEXEC) != 0 || !leaveStarter()) {
    return std::make_shared<RefusingListener>();
  }
  return std::make_shared<InheritedListener>(FileDescriptor(*descriptor));
}

}  // namespace pellam

#include "platform/service_connection.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "foundation/item_path.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/linux/connection/bus_dictionary.h"
#include "platform/linux/connection/bus_loop.h"
#include "platform/linux/connection/bus_names.h"
#include "platform/linux/connection/service_process.h"

namespace pellam {

namespace {

using Progress = OrvoAppBundleInstallerLauncherProgressXPCProtocol;
using Launcher = OrvoAppBundleInstallerLauncherXPCProtocol;

BridgedError interruptedCall() {
  return {"NSCocoaErrorDomain", 4097, "The installer launcher XPC connection was interrupted."};
}

BridgedError invalidConnection() {
  return {"NSCocoaErrorDomain", 4099, "The installer launcher XPC connection was invalidated."};
}

// What the connection's thread works with. The thread owns it together with the connection; calls that wait
// for their reply are touched by the thread alone.
struct ConnectionState {
  struct Call {
    ConnectionState* state = nullptr;
    ServiceErrorHandler errorHandler;
    Launcher::Reply reply;
    sd_bus_slot* slot = nullptr;
  };

  // The handlers, while they may be called.
  struct Handlers {
    std::shared_ptr<Progress> progressReceiver;
    std::function<void()> interruption;
    std::function<void()> invalidation;
  };

  std::mutex lock;
  Handlers handlers;
  bool isMuted = false;

  std::map<std::uint64_t, Call> calls;
  std::uint64_t lastCall = 0;

  bool isSilent() {
    const std::lock_guard guard(lock);
    return isMuted;
  }
  template <typename Member>
  Member handler(Member Handlers::*member) {
    const std::lock_guard guard(lock);
    return isMuted ? Member{} : handlers.*member;
  }
};

void failCalls(ConnectionState& state) {
  for (auto& [number, call] : state.calls) sd_bus_slot_unref(call.slot);
  auto calls = std::move(state.calls);
  state.calls.clear();
  for (auto& [number, call] : calls) {
    if (!state.isSilent()) call.errorHandler(interruptedCall());
  }
}

int onReply(sd_bus_message* message, void* userData, sd_bus_error*) {
  auto* call = static_cast<ConnectionState::Call*>(userData);
  ConnectionState& state = *call->state;
  const sd_bus_error* error = sd_bus_message_get_error(message);
  // A lost connection is told by the interruption handler first; the calls follow it.
  if (error != nullptr && sd_bus_error_has_name(error, SD_BUS_ERROR_NO_REPLY) != 0) return 0;
  ConnectionState::Call ended;
  for (auto found = state.calls.begin(); found != state.calls.end(); ++found) {
    if (&found->second != call) continue;
    ended = std::move(found->second);
    state.calls.erase(found);
    break;
  }
  sd_bus_slot_unref(ended.slot);
  if (error != nullptr) {
    ended.errorHandler({error->name, sd_bus_error_get_errno(error),
                        error->message == nullptr ? error->name : error->message});
    return 0;
  }
  PropertyListDictionary reply;
  (void)readDictionary(message, reply);
  ended.reply(reply);
  return 0;
}

int onProgress(sd_bus_message* message, void* userData, sd_bus_error*) {
  auto* state = static_cast<ConnectionState*>(userData);
  PropertyListDictionary event;
  if (readDictionary(message, event) >= 0) {
    if (const auto receiver = state->handler(&ConnectionState::Handlers::progressReceiver)) {
      receiver->reportProgress(event);
    }
  }
  return sd_bus_message_get_expect_reply(message) > 0 ? sd_bus_reply_method_return(message, "") : 1;
}

const std::array<sd_bus_vtable, 3> progressTable = {
    {SD_BUS_VTABLE_START(0),
     SD_BUS_METHOD(bus_names::reportProgress, "a{sv}", "", onProgress, SD_BUS_VTABLE_UNPRIVILEGED),
     SD_BUS_VTABLE_END}};

int sendLaunch(sd_bus* bus, const PropertyListDictionary& message, ConnectionState::Call& call) {
  sd_bus_message* request = nullptr;
  int result = sd_bus_message_new_method_call(bus, &request, nullptr, bus_names::launcherPath,
                                              bus_names::launcherInterface, bus_names::launchReplacement);
  if (result >= 0) result = appendDictionary(request, message, IllFormedText::refuse);
  // How long a launch may take is for the caller's timers to say.
  if (result >= 0) result = sd_bus_call_async(bus, &call.slot, request, onReply, &call, UINT64_MAX);
  sd_bus_message_unref(request);
  return result;
}

class LauncherProxy final : public Launcher {
 public:
  LauncherProxy(std::shared_ptr<BusLoop> loop, std::shared_ptr<ConnectionState> state,
                ServiceErrorHandler errorHandler)
      : loop_(std::move(loop)), state_(std::move(state)), errorHandler_(std::move(errorHandler)) {}

  void launchReplacement(const PropertyListDictionary& message, Reply reply) override {
    const bool isPosted = loop_->post(
        [state = state_, errorHandler = errorHandler_, message, reply](sd_bus* bus) {
          ConnectionState::Call& call = state->calls[++state->lastCall];
          call = {state.get(), errorHandler, reply, nullptr};
          const int result = sendLaunch(bus, message, call);
          if (result >= 0) return;
          state->calls.erase(state->lastCall);
          errorHandler(bridge(std::system_error(-result, std::generic_category())));
        },
        [state = state_, errorHandler = errorHandler_] {
          if (!state->isSilent()) errorHandler(interruptedCall());
        });
    if (!isPosted) errorHandler_(invalidConnection());
  }

 private:
  std::shared_ptr<BusLoop> loop_;
  std::shared_ptr<ConnectionState> state_;
  ServiceErrorHandler errorHandler_;
};

class BusServiceConnection final : public ServiceConnection {
 public:
  BusServiceConnection(ServiceProcess process, FileDescriptor socket)
      : process_(std::move(process)),
        loop_(std::make_shared<BusLoop>(std::move(socket), BusLoop::Role::client)),
        state_(std::make_shared<ConnectionState>()) {}

  ~BusServiceConnection() override {
    {
      const std::lock_guard guard(state_->lock);
      state_->isMuted = true;
    }
    loop_->stop();
    loop_->join();
  }
  BusServiceConnection(const BusServiceConnection&) = delete;
  BusServiceConnection& operator=(const BusServiceConnection&) = delete;

  void setExportedObject(std::shared_ptr<Progress> receiver) override {
    state_->handlers.progressReceiver = std::move(receiver);
  }
  void setInterruptionHandler(std::function<void()> handler) override {
    state_->handlers.interruption = std::move(handler);
  }
  void setInvalidationHandler(std::function<void()> handler) override {
    state_->handlers.invalidation = std::move(handler);
  }

  void resume() override {
    (void)sd_bus_add_object_vtable(loop_->bus(), nullptr, bus_names::progressPath,
                                   bus_names::progressInterface, progressTable.data(), state_.get());
    loop_->start([state = state_](BusLoop::End end) { connectionEnds(*state, end); },
                 [state = state_] { connectionEnded(*state); });
  }

  std::shared_ptr<Launcher> remoteObjectProxy(ServiceErrorHandler errorHandler) override {
    return std::make_shared<LauncherProxy>(loop_, state_, std::move(errorHandler));
  }

  void invalidate() override { loop_->stop(); }

 private:
  static void connectionEnds(ConnectionState& state, BusLoop::End end) {
    if (end == BusLoop::End::peerLost) {
      if (const auto handler = state.handler(&ConnectionState::Handlers::interruption)) handler();
      failCalls(state);
      return;
    }
    for (auto& [number, call] : state.calls) sd_bus_slot_unref(call.slot);
    state.calls.clear();
  }

  static void connectionEnded(ConnectionState& state) {
    if (const auto handler = state.handler(&ConnectionState::Handlers::invalidation)) handler();
    // The handlers keep their owners alive; nothing calls them any more.
    ConnectionState::Handlers ended;
    const std::lock_guard guard(state.lock);
    std::swap(ended, state.handlers);
  }

  // Destroyed last: by then the socket is closed, so that a service that waits for its host has ended.
  ServiceProcess process_;
  std::shared_ptr<BusLoop> loop_;
  std::shared_ptr<ConnectionState> state_;
};

class BusServiceConnections final : public ServiceConnectionMaking {
 public:
  BusServiceConnections(const std::filesystem::path& hostBundle, std::shared_ptr<FileSystem> fileSystem,
                        std::shared_ptr<BundleLoading> bundles)
      : services_(hostBundle / "Contents" / "XPCServices"),
        fileSystem_(std::move(fileSystem)),
        bundles_(std::move(bundles)) {}

  std::shared_ptr<ServiceConnection> connectionToService(const std::string& serviceName) override {
    const auto executable = serviceExecutable(serviceName);
    if (!executable) return nullptr;
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0)
      return nullptr;
    FileDescriptor hostEnd(ends[0]);
    auto process = ServiceProcess::start(*executable, FileDescriptor(ends[1]));
    if (!process) return nullptr;
    try {
      return std::make_shared<BusServiceConnection>(*std::move(process), std::move(hostEnd));
    } catch (const std::system_error&) {
      return nullptr;
    }
  }

 private:
  [[nodiscard]] std::optional<std::filesystem::path> serviceExecutable(const std::string& name) const {
    if (!isPlainFileName(name)) return std::nullopt;
    const std::optional<Bundle> bundle = bundles_->bundleAt(services_ / (name + ".xpc"));
    if (!bundle) return std::nullopt;
    const PropertyListText* executable = bundle->informationDictionary.findString("CFBundleExecutable");
    if (executable == nullptr || !isPlainFileName(*executable)) return std::nullopt;
    std::filesystem::path path = bundle->path / "Contents" / "MacOS" / executable->view();
    if (!fileSystem_->isExecutableFile(path)) return std::nullopt;
    return path;
  }

  std::filesystem::path services_;
  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<BundleLoading> bundles_;
};

}  // namespace

std::shared_ptr<ServiceConnectionMaking> makeSystemServiceConnections(
    const std::filesystem::path& hostBundle, std::shared_ptr<FileSystem> fileSystem,
    std::shared_ptr<BundleLoading> bundles) {
  return std::make_shared<BusServiceConnections>(hostBundle, std::move(fileSystem), std::move(bundles));
}

}  // namespace pellam

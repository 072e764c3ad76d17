#include "platform/linux/connection/incoming_connection.h"

#include <array>
#include <atomic>
#include <system_error>
#include <utility>

#include "platform/linux/connection/bus_dictionary.h"
#include "platform/linux/connection/bus_names.h"

namespace pellam {

// Touched by the connection's thread alone, once it runs, but for the two that say so.
struct BusIncomingConnection::State {
  std::weak_ptr<BusLoop> loop;
  std::function<void()> didChange;
  std::atomic<std::size_t> unansweredCount = 0;  // any thread
  std::atomic<bool> hasEnded = false;            // any thread
  bool stopsWhenIdle = false;
  std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> exportedObject;
  // Messages whose reply is still to come. They must be gone before the bus can go.
  std::map<std::uint64_t, sd_bus_message*> unanswered;
  std::uint64_t lastMessage = 0;

  void answer(sd_bus* bus, std::uint64_t number, const PropertyListDictionary& dictionary) {
    const auto found = unanswered.find(number);
    if (found == unanswered.end()) return;
    sd_bus_message* reply = nullptr;
    int result = sd_bus_message_new_method_return(found->second, &reply);
    if (result >= 0) result = appendDictionary(reply, dictionary, IllFormedText::repair);
    if (result >= 0) {
      (void)sd_bus_send(bus, reply, nullptr);
    } else {
      (void)sd_bus_reply_method_errno(found->second, result, nullptr);
    }
    sd_bus_message_unref(reply);
    sd_bus_message_unref(found->second);
    unanswered.erase(found);
    unansweredCount = unanswered.size();
    if (!unanswered.empty()) return;
    if (stopsWhenIdle) stop();
    if (didChange) didChange();
  }
  void stop() const {
    if (const std::shared_ptr<BusLoop> running = loop.lock()) running->stop();
  }
};

namespace {

class ProgressProxy final : public OrvoAppBundleInstallerLauncherProgressXPCProtocol {
 public:
  ProgressProxy(std::weak_ptr<BusLoop> loop, ServiceErrorHandler errorHandler)
      : loop_(std::move(loop)), errorHandler_(std::move(errorHandler)) {}

  void reportProgress(const PropertyListDictionary& event) override {
    const std::shared_ptr<BusLoop> loop = loop_.lock();
    const bool isPosted = loop && loop->post([event, errorHandler = errorHandler_](sd_bus* bus) {
      const int result = send(bus, event);
      if (result < 0) errorHandler(bridge(std::system_error(-result, std::generic_category())));
    });
    if (!isPosted) {
      errorHandler_({"NSCocoaErrorDomain", 4099, "The host has closed the launcher connection."});
    }
  }

 private:
  static int send(sd_bus* bus, const PropertyListDictionary& event) {
    sd_bus_message* message = nullptr;
    int result = sd_bus_message_new_method_call(bus, &message, nullptr, bus_names::progressPath,
                                                bus_names::progressInterface, bus_names::reportProgress);
    if (result >= 0) result = sd_bus_message_set_expect_reply(message, 0);
    if (result >= 0) result = appendDictionary(message, event, IllFormedText::repair);
    if (result >= 0) result = sd_bus_send(bus, message, nullptr);
    sd_bus_message_unref(message);
    return result;
  }

  std::weak_ptr<BusLoop> loop_;
  ServiceErrorHandler errorHandler_;
};

}  // namespace

int BusIncomingConnection::onLaunch(sd_bus_message* message, void* userData, sd_bus_error*) {
  auto* state = static_cast<State*>(userData);
  PropertyListDictionary dictionary;
  const int result = readDictionary(message, dictionary);
  if (result < 0) return result;
  if (!state->exportedObject) return -ENOTCONN;
  if (state->stopsWhenIdle) return -ESHUTDOWN;
  const std::uint64_t number = ++state->lastMessage;
  state->unanswered.emplace(number, sd_bus_message_ref(message));
  state->unansweredCount = state->unanswered.size();
  // The object may be let go while it works, when the connection ends.
  const std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> object = state->exportedObject;
  object->launchReplacement(
      dictionary, [weakLoop = state->loop, state, number](const PropertyListDictionary& reply) {
        // The state lives until the loop has ended, and an ended loop runs no tasks.
        if (const std::shared_ptr<BusLoop> loop = weakLoop.lock()) {
          (void)loop->post([state, number, reply](sd_bus* bus) { state->answer(bus, number, reply); });
        }
      });
  return 1;
}

BusIncomingConnection::BusIncomingConnection(FileDescriptor socket, std::int32_t peer,
                                             std::function<void()> didChange)
    : peer_(peer),
      loop_(std::make_shared<BusLoop>(std::move(socket), BusLoop::Role::server)),
      state_(std::make_shared<State>()) {
  state_->loop = loop_;
  state_->didChange = std::move(didChange);
}

BusIncomingConnection::~BusIncomingConnection() {
  loop_->stop();
  loop_->join();
}

bool BusIncomingConnection::isIdle() const { return state_->unansweredCount == 0; }

bool BusIncomingConnection::hasEnded() const { return state_->hasEnded; }

void BusIncomingConnection::stopWhenIdle() {
  // A loop that has ended runs no task, and has nothing to stop.
  (void)loop_->post([state = state_](sd_bus*) {
    state->stopsWhenIdle = true;
    if (state->unanswered.empty()) state->stop();
  });
}

std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> BusIncomingConnection::remoteObjectProxy(
    ServiceErrorHandler errorHandler) {
  return std::make_shared<ProgressProxy>(loop_, std::move(errorHandler));
}

void BusIncomingConnection::setExportedObject(
    std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> object) {
  state_->exportedObject = std::move(object);
}

void BusIncomingConnection::resume() {
  static const std::array<sd_bus_vtable, 3> table = {
      {SD_BUS_VTABLE_START(0),
       SD_BUS_METHOD(bus_names::launchReplacement, "a{sv}", "a{sv}", onLaunch, SD_BUS_VTABLE_UNPRIVILEGED),
       SD_BUS_VTABLE_END}};
  const int result = sd_bus_add_object_vtable(loop_->bus(), nullptr, bus_names::launcherPath,
                                              bus_names::launcherInterface, table.data(), state_.get());
  if (result < 0) throw std::system_error(-result, std::generic_category(), "sd_bus_add_object_vtable");
  loop_->start(
      [state = state_](BusLoop::End) {
        for (auto& [number, message] : state->unanswered) sd_bus_message_unref(message);
        state->unanswered.clear();
        state->exportedObject.reset();
      },
      [state = state_] {
        state->hasEnded = true;
        if (state->didChange) state->didChange();
      });
}

}  // namespace pellam

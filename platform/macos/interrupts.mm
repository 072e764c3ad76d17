#include "platform/interrupts.h"

#include <dispatch/dispatch.h>

#include <array>
#include <csignal>
#include <utility>

namespace pellam {

namespace {

// The signals' default action is switched off and dispatch sources report them on a queue of their own. Tools
// that this program starts inherit that, so that an interrupt at the terminal reaches this program alone,
// which then decides.
class InterruptWatcher final : public InterruptWatching {
 public:
  explicit InterruptWatcher(std::function<void()> handler)
      : queue_(dispatch_queue_create("pellam.interrupts", DISPATCH_QUEUE_SERIAL)) {
    for (std::size_t index = 0; index < numbers.size(); ++index) {
      const auto number = static_cast<uintptr_t>(numbers[index]);
      previous_[index] = std::signal(numbers[index], SIG_IGN);
      sources_[index] = dispatch_source_create(DISPATCH_SOURCE_TYPE_SIGNAL, number, 0, queue_);
      dispatch_source_set_event_handler(sources_[index], ^{
        handler();
      });
      dispatch_activate(sources_[index]);
    }
  }
  InterruptWatcher(const InterruptWatcher&) = delete;
  InterruptWatcher& operator=(const InterruptWatcher&) = delete;
  ~InterruptWatcher() override {
    for (dispatch_source_t source : sources_) dispatch_source_cancel(source);
    // A handler that is running is waited for; none begins afterwards.
    dispatch_sync(queue_, ^{
                  });
    for (std::size_t index = 0; index < numbers.size(); ++index) {
      (void)std::signal(numbers[index], previous_[index]);
    }
  }

 private:
  static constexpr std::array<int, 2> numbers = {SIGINT, SIGTERM};
  dispatch_queue_t queue_;
  std::array<dispatch_source_t, 2> sources_;
  std::array<void (*)(int), 2> previous_{};
};

// By a handler that does nothing, not by ignoring: programs that are started inherit what is ignored.
class HandlerThatDoesNothing final : public InterruptRefusal {
 public:
  HandlerThatDoesNothing() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    for (std::size_t index = 0; index < numbers.size(); ++index) {
      sigaction(numbers[index], &action, &previous_[index]);
    }
  }
  HandlerThatDoesNothing(const HandlerThatDoesNothing&) = delete;
  HandlerThatDoesNothing& operator=(const HandlerThatDoesNothing&) = delete;
  ~HandlerThatDoesNothing() override {
    for (std::size_t index = 0; index < numbers.size(); ++index) {
      sigaction(numbers[index], &previous_[index], nullptr);
    }
  }

 private:
  static constexpr std::array<int, 3> numbers = {SIGINT, SIGTERM, SIGHUP};
  std::array<struct sigaction, 3> previous_{};
};

}  // namespace

std::unique_ptr<InterruptRefusal> refuseInterrupts() { return std::make_unique<HandlerThatDoesNothing>(); }

std::unique_ptr<InterruptWatching> watchInterrupts(std::function<void()> handler) {
  return std::make_unique<InterruptWatcher>(std::move(handler));
}

}  // namespace pellam

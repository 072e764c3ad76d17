#include "platform/interrupts.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <csignal>
#include <thread>
#include <utility>

namespace pellam {

namespace {

// The thread that waits for the signals; there is one at most.
std::atomic<pthread_t> watchingThread;

// Runs on a thread that does not block the signals: one that a library has started before main.
void passOn(int number) { pthread_kill(watchingThread, number); }

// Waits for the signals on a thread of its own; every thread made afterwards inherits the blocked mask.
class InterruptWatcher final : public InterruptWatching {
 public:
  explicit InterruptWatcher(std::function<void()> handler) : handler_(std::move(handler)) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    thread_ = std::thread([this] { watch(); });
    watchingThread = thread_.native_handle();
    struct sigaction action = {};
    action.sa_handler = passOn;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, &previousInterrupt_);
    sigaction(SIGTERM, &action, &previousTermination_);
  }
  InterruptWatcher(const InterruptWatcher&) = delete;
  InterruptWatcher& operator=(const InterruptWatcher&) = delete;
  ~InterruptWatcher() override {
    sigaction(SIGINT, &previousInterrupt_, nullptr);
    sigaction(SIGTERM, &previousTermination_, nullptr);
    isEnding_ = true;
    // The thread waits for this signal in sigwait, so nothing is terminated by it.
    pthread_kill(thread_.native_handle(), SIGTERM);  // NOLINT(bugprone-bad-signal-to-kill-thread)
    thread_.join();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }

 private:
  void watch() {
    for (;;) {
      int number = 0;
      if (sigwait(&signals_, &number) != 0 || isEnding_) return;
      handler_();
    }
  }

  std::function<void()> handler_;
  sigset_t signals_{};
  sigset_t previous_{};
  struct sigaction previousInterrupt_ = {};
  struct sigaction previousTermination_ = {};
  std::atomic<bool> isEnding_ = false;
  std::thread thread_;
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

#include "launcher-service/launch_tasks.h"

#include <thread>
#include <utility>

namespace pellam {

namespace {

// Counts one task for as long as it lives, whichever way it ends.
template <typename State>
class Running {
 public:
  explicit Running(std::shared_ptr<State> state) : state_(std::move(state)) {
    const std::lock_guard guard(state_->lock);
    ++state_->running;
  }
  Running(Running&& other) noexcept = default;
  Running& operator=(Running&&) = delete;
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() {
    if (!state_) return;
    const std::lock_guard guard(state_->lock);
    if (--state_->running == 0) state_->becameIdle.notify_all();
  }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace

LaunchTasks::LaunchTasks() : state_(std::make_shared<State>()) {}

LaunchTasks::~LaunchTasks() { waitUntilIdle(); }

void LaunchTasks::start(std::function<void()> work) {
  std::thread([running = Running<State>(state_), task = std::move(work)]() mutable {
    task();
    // What the task holds goes before the task stops counting.
    task = nullptr;
  }).detach();
}

void LaunchTasks::waitUntilIdle() {
  std::unique_lock guard(state_->lock);
  state_->becameIdle.wait(guard, [this] { return state_->running == 0; });
}

}  // namespace pellam

#include "host/launch_watchdog.h"

#include <system_error>
#include <utility>

namespace pellam {

using Watchdog = OrvoAppBundleXPCLaunchWatchdog;

std::shared_ptr<Watchdog> Watchdog::make(const LaunchTimeouts& timeouts, CancellableSleep sleep) {
  return std::shared_ptr<Watchdog>(new Watchdog(timeouts, std::move(sleep)));
}

Watchdog::OrvoAppBundleXPCLaunchWatchdog(const LaunchTimeouts& timeouts, CancellableSleep sleep)
    : timeouts_(timeouts), sleep_(std::move(sleep)) {}

Watchdog::~OrvoAppBundleXPCLaunchWatchdog() {
  cancel();
  for (Timer& timer : timers_) {
    // The last reference may have been the one that an expiring timer took to look the watchdog up.
    if (timer.thread.get_id() == std::this_thread::get_id()) {
      timer.thread.detach();
    } else {
      timer.thread.join();
    }
  }
}

void Watchdog::armTimeout(std::chrono::nanoseconds time, OrvoAppBundleInstallerLaunchPhase phase,
                          const TimeoutHandler& timeoutHandler) {
  std::optional<CancellationSource> replaced;
  std::list<Timer> ended;
  std::uint64_t generation = 0;
  {
    const std::lock_guard guard(lock_);
    if (didFinish_) return;
    replaced = std::exchange(timeoutTask_, std::nullopt);
    generation = ++generation_;
    for (auto timer = timers_.begin(); timer != timers_.end();) {
      const auto next = std::next(timer);
      if (timer->hasEnded->load()) ended.splice(ended.end(), timers_, timer);
      timer = next;
    }
  }
  if (replaced) replaced->cancel();
  for (Timer& timer : ended) timer.thread.join();
  if (time.count() <= 0) return;

  CancellationSource task;
  try {
    startTimer(static_cast<std::uint64_t>(time.count()), generation, phase, timeoutHandler, task);
  } catch (const std::system_error&) {
    // Without a timer the launch would be unguarded; it ends now.
    if (consumeTimeout(generation)) timeoutHandler(phase);
    return;
  }
  {
    const std::lock_guard guard(lock_);
    if (!didFinish_ && generation_ == generation) {
      timeoutTask_ = std::move(task);
      return;
    }
  }
  task.cancel();
}

void Watchdog::startTimer(std::uint64_t nanoseconds, std::uint64_t generation,
                          OrvoAppBundleInstallerLaunchPhase phase, const TimeoutHandler& timeoutHandler,
                          const CancellationSource& task) {
  auto hasEnded = std::make_shared<std::atomic<bool>>(false);
  auto body = [weak = weak_from_this(), sleep = sleep_, token = task.token(), timeoutHandler, nanoseconds,
               generation, phase, hasEnded] {
    try {
      sleep(nanoseconds, token);
    } catch (...) {
      // Superseded, or a sleep that cannot be trusted: nothing is left to do.
      hasEnded->store(true);
      return;
    }
    {
      const std::shared_ptr<Watchdog> watchdog = weak.lock();
      if (watchdog && watchdog->consumeTimeout(generation)) timeoutHandler(phase);
    }
    hasEnded->store(true);
  };
  const std::lock_guard guard(lock_);
  timers_.push_back({});
  try {
    timers_.back() = Timer{std::thread(std::move(body)), hasEnded};
  } catch (...) {
    timers_.pop_back();
    throw;
  }
}

void Watchdog::pause() {
  std::optional<CancellationSource> task;
  {
    const std::lock_guard guard(lock_);
    task = std::exchange(timeoutTask_, std::nullopt);
    ++generation_;
  }
  if (task) task->cancel();
}

bool Watchdog::consumeTimeout(std::uint64_t generation) {
  const std::lock_guard guard(lock_);
  if (didFinish_ || generation_ != generation) return false;
  didFinish_ = true;
  timeoutTask_.reset();
  return true;
}

void Watchdog::cancel() {
  std::optional<CancellationSource> task;
  {
    const std::lock_guard guard(lock_);
    didFinish_ = true;
    task = std::exchange(timeoutTask_, std::nullopt);
    ++generation_;
  }
  if (task) task->cancel();
}

void Watchdog::cancelAndWait() {
  cancel();
  std::list<Timer> timers;
  {
    const std::lock_guard guard(lock_);
    timers.swap(timers_);
  }
  for (Timer& timer : timers) timer.thread.join();
}

}  // namespace pellam

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "launcher-protocol/launch_timeouts.h"
#include "pellam/cancellation.h"
#include "pellam/launch_phase.h"
#include "services/sleeping.h"

namespace pellam {

// The host's timer for one launch. At most one time-out is pending; arming, pausing and cancelling make every
// earlier one harmless, even one whose sleep has just ended. After the first expiry or cancel() the watchdog
// is finished for good. Thread-safe; calls nothing while holding its lock. Destruction cancels and waits for
// the timer threads.
class OrvoAppBundleXPCLaunchWatchdog : public std::enable_shared_from_this<OrvoAppBundleXPCLaunchWatchdog> {
 public:
  using TimeoutHandler = std::function<void(OrvoAppBundleInstallerLaunchPhase)>;

  [[nodiscard]] static std::shared_ptr<OrvoAppBundleXPCLaunchWatchdog> make(const LaunchTimeouts& timeouts,
                                                                            CancellableSleep sleep);
  ~OrvoAppBundleXPCLaunchWatchdog();
  OrvoAppBundleXPCLaunchWatchdog(const OrvoAppBundleXPCLaunchWatchdog&) = delete;
  OrvoAppBundleXPCLaunchWatchdog& operator=(const OrvoAppBundleXPCLaunchWatchdog&) = delete;

  [[nodiscard]] const LaunchTimeouts& timeouts() const { return timeouts_; }

  // Replaces the pending time-out; a time of 0 only removes it. The handler is called on a timer thread.
  void armTimeout(std::chrono::nanoseconds time, OrvoAppBundleInstallerLaunchPhase phase,
                  const TimeoutHandler& timeoutHandler);
  // Removes the pending time-out; the watchdog can be armed again.
  void pause();
  // True, once, for the time-out of that generation when nothing has superseded it.
  [[nodiscard]] bool consumeTimeout(std::uint64_t generation);
  void cancel();
  // Cancels and returns when no timer thread is left. Not on a timer thread.
  void cancelAndWait();

 private:
  // A timer thread, kept until it can be joined.
  struct Timer {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> hasEnded;
  };

  OrvoAppBundleXPCLaunchWatchdog(const LaunchTimeouts& timeouts, CancellableSleep sleep);
  void startTimer(std::uint64_t nanoseconds, std::uint64_t generation,
                  OrvoAppBundleInstallerLaunchPhase phase, const TimeoutHandler& timeoutHandler,
                  const CancellationSource& task);

  std::mutex lock_;
  const LaunchTimeouts timeouts_;
  const CancellableSleep sleep_;
  std::optional<CancellationSource> timeoutTask_;
  std::uint64_t generation_ = 0;
  bool didFinish_ = false;
  std::list<Timer> timers_;
};

}  // namespace pellam

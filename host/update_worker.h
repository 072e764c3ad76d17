#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "pellam/cancellation.h"
#include "platform/clock.h"
#include "platform/framework_memory.h"
#include "services/sleeping.h"

namespace pellam {

// One thread that does jobs in their order and, between them, waits for an alarm. The thread starts with the
// first job or alarm. The alarm follows the clock on the wall: it goes off when its date has come, and at
// least once an hour, so that a machine that slept, or whose clock was set, is no more than an hour late. Any
// thread may call it.
class UpdateWorker {
 public:
  UpdateWorker(std::shared_ptr<PellamClock> clock, CancellableSleep sleep,
               FrameworkMemoryScope frameworkMemoryScope)
      : clock_(std::move(clock)), sleep_(std::move(sleep)), runJob_(std::move(frameworkMemoryScope)) {}
  // Waits for the job that is running.
  ~UpdateWorker();
  UpdateWorker(const UpdateWorker&) = delete;
  UpdateWorker& operator=(const UpdateWorker&) = delete;

  // Jobs must not throw. After requestEnd() they are dropped.
  void perform(std::function<void()> job);
  // Replaces the alarm. The handler is called once, on the worker's thread, when the date has come or an hour
  // is over; whoever sets alarms looks at the clock again.
  void setAlarm(Date date, std::function<void()> handler);

  // Drops the alarm and the jobs that have not begun. `didEnd` is the last that the thread calls; without a
  // thread it is never called.
  void requestEnd(std::function<void()> didEnd);
  // True when no thread runs jobs any more, or none ever did.
  [[nodiscard]] bool hasEnded() const;

 private:
  struct Alarm {
    Date date;
    std::function<void()> handler;
  };

  void startIfNeeded();
  void run();
  void wake();

  const std::shared_ptr<PellamClock> clock_;
  const CancellableSleep sleep_;
  const FrameworkMemoryScope runJob_;
  mutable std::mutex lock_;
  std::deque<std::function<void()>> jobs_;
  std::optional<Alarm> alarm_;
  CancellationSource sleeper_;  // cancelled to end the nap that the thread is taking
  std::function<void()> didEnd_;
  bool isEnding_ = false;
  bool isRunning_ = false;
  std::thread thread_;
};

}  // namespace pellam

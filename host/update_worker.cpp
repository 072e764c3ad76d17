#include "host/update_worker.h"

#include <limits>
#include <utility>

namespace pellam {

namespace {
constexpr std::chrono::microseconds longestNap = std::chrono::hours(1);
}

UpdateWorker::~UpdateWorker() {
  requestEnd({});
  if (thread_.joinable()) thread_.join();
}

// With the lock held.
void UpdateWorker::startIfNeeded() {
  if (isRunning_ || isEnding_) return;
  thread_ = std::thread([this] { run(); });
  isRunning_ = true;
}

void UpdateWorker::perform(std::function<void()> job) {
  {
    const std::lock_guard lock(lock_);
    if (isEnding_) return;
    jobs_.push_back(std::move(job));
    startIfNeeded();
  }
  wake();
}

void UpdateWorker::setAlarm(Date date, std::function<void()> handler) {
  {
    const std::lock_guard lock(lock_);
    if (isEnding_) return;
    alarm_ = Alarm{date, std::move(handler)};
    startIfNeeded();
  }
  wake();
}

void UpdateWorker::requestEnd(std::function<void()> didEnd) {
  std::deque<std::function<void()>> droppedJobs;
  std::optional<Alarm> droppedAlarm;
  {
    const std::lock_guard lock(lock_);
    if (isEnding_) return;
    isEnding_ = true;
    didEnd_ = std::move(didEnd);
    droppedJobs.swap(jobs_);
    droppedAlarm.swap(alarm_);
  }
  wake();
}

bool UpdateWorker::hasEnded() const {
  const std::lock_guard lock(lock_);
  return !isRunning_;
}

void UpdateWorker::wake() {
  std::optional<CancellationSource> sleeper;
  {
    const std::lock_guard lock(lock_);
    sleeper = sleeper_;
  }
  sleeper->cancel();
}

void UpdateWorker::run() {
  for (;;) {
    const Date now = clock_->now();
    std::function<void()> next;
    std::uint64_t napNanoseconds = std::numeric_limits<std::uint64_t>::max();
    CancellationToken awakened;
    {
      const std::lock_guard lock(lock_);
      if (isEnding_) break;
      if (!jobs_.empty()) {
        next = std::move(jobs_.front());
        jobs_.pop_front();
      } else if (alarm_ && alarm_->date <= now) {
        next = std::move(alarm_->handler);
        alarm_.reset();
      } else {
        sleeper_ = CancellationSource();
        awakened = sleeper_.token();
        if (alarm_) {
          const bool isFar = alarm_->date > now + longestNap;  // perhaps farther than can be counted
          const std::chrono::nanoseconds nap = isFar ? longestNap : alarm_->date - now;
          napNanoseconds = static_cast<std::uint64_t>(nap.count());
        }
      }
    }
    if (next) {
      runJob_(next);
      continue;
    }
    try {
      sleep_(napNanoseconds, awakened);
    } catch (const OperationCancelled&) {
      continue;  // somebody has something to do
    }
    // The date has come, or an hour is over.
    {
      const std::lock_guard lock(lock_);
      if (isEnding_ || !alarm_) continue;
      next = std::move(alarm_->handler);
      alarm_.reset();
    }
    runJob_(next);
  }
  std::function<void()> didEnd;
  {
    const std::lock_guard lock(lock_);
    isRunning_ = false;
    didEnd.swap(didEnd_);
  }
  if (didEnd) didEnd();
}

}  // namespace pellam

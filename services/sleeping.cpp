#include "services/sleeping.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace pellam {

void systemSleep(std::uint64_t nanoseconds, const CancellationToken& cancellation) {
  std::mutex mutex;
  std::condition_variable wake;
  bool cancelled = false;
  const CancellationRegistration registration = cancellation.onCancel([&] {
    const std::lock_guard lock(mutex);
    cancelled = true;
    wake.notify_all();
  });
  // A deadline of a century stands for durations that the clock cannot add.
  const auto limit = std::chrono::hours(24 * 36'500);
  const auto wanted = nanoseconds > static_cast<std::uint64_t>(std::chrono::nanoseconds(limit).count())
                          ? std::chrono::nanoseconds(limit)
                          : std::chrono::nanoseconds(nanoseconds);
  std::unique_lock lock(mutex);
  if (wake.wait_for(lock, wanted, [&] { return cancelled; })) throw OperationCancelled();
}

}  // namespace pellam

#include "pellam/main_thread_queue.h"

#include <future>
#include <utility>

namespace pellam {

void MainThreadQueue::perform(std::function<void()> work) {
  {
    const std::lock_guard lock(lock_);
    work_.push_back(std::move(work));
  }
  wake_.notify_one();
}

void MainThreadQueue::performAndWait(const std::function<void()>& work) {
  if (std::this_thread::get_id() == mainThread_) {
    work();
    return;
  }
  std::packaged_task<void()> task(work);
  std::future<void> done = task.get_future();
  perform([&task] { task(); });
  done.get();
}

void MainThreadQueue::run() {
  for (;;) {
    std::unique_lock lock(lock_);
    wake_.wait(lock, [this] { return isStopping_ || !work_.empty(); });
    if (work_.empty()) return;
    const std::function<void()> next = std::move(work_.front());
    work_.pop_front();
    lock.unlock();
    next();
  }
}

void MainThreadQueue::stop() {
  {
    const std::lock_guard lock(lock_);
    isStopping_ = true;
  }
  wake_.notify_one();
}

}  // namespace pellam

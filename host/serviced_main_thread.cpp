#include "host/serviced_main_thread.h"

#include <future>
#include <utility>

namespace pellam {

std::shared_ptr<ServicedMainThread> ServicedMainThread::make(std::shared_ptr<MainThread> mainThread) {
  return std::shared_ptr<ServicedMainThread>(new ServicedMainThread(std::move(mainThread)));
}

void ServicedMainThread::perform(std::function<void()> work) {
  {
    const std::lock_guard lock(lock_);
    work_.push_back(std::move(work));
  }
  arrival_.notify_one();
  // One turn for each piece; a turn that finds its piece done already does nothing.
  mainThread_->perform([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->serviceOne();
  });
}

void ServicedMainThread::performAndWait(const std::function<void()>& work) {
  if (std::this_thread::get_id() == threadIdentifier_) {
    work();
    return;
  }
  // Shared, because the waiting thread goes on while the task is still returning.
  const auto task = std::make_shared<std::packaged_task<void()>>(work);
  std::future<void> done = task->get_future();
  perform([task] { (*task)(); });
  done.get();
}

void ServicedMainThread::serviceOne() {
  std::function<void()> work;
  {
    const std::lock_guard lock(lock_);
    if (work_.empty()) return;
    work = std::move(work_.front());
    work_.pop_front();
  }
  work();
}

void ServicedMainThread::serviceUntil(const std::function<bool()>& isDone) {
  while (!isDone()) {
    {
      std::unique_lock lock(lock_);
      arrival_.wait(lock, [this] { return !work_.empty(); });
    }
    serviceOne();
  }
}

}  // namespace pellam

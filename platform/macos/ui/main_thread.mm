#include "pellam/main_thread.h"

#import <Foundation/Foundation.h>

#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/macos/guarded_call.h"

namespace pellam {

namespace {

// Work in its order. Blocks of the run loop, not the main queue: the queue would hold everything back while
// work that came through it runs a modal loop of its own. The run loop takes several blocks at once, so each
// turn sees to it that a modal loop inside it finds a block for what is left.
class MainRunLoopQueue : public std::enable_shared_from_this<MainRunLoopQueue> {
 public:
  void push(std::function<void()> work) {
    {
      const std::lock_guard guard(lock_);
      work_.push_back(std::move(work));
    }
    scheduleTurn();
  }

 private:
  void scheduleTurn() {
    const std::shared_ptr<MainRunLoopQueue> self = shared_from_this();
    CFRunLoopPerformBlock(CFRunLoopGetMain(), kCFRunLoopCommonModes, ^{
      self->takeTurn();
    });
    CFRunLoopWakeUp(CFRunLoopGetMain());
  }
  void takeTurn() {
    std::function<void()> work;
    bool isMoreLeft = false;
    {
      const std::lock_guard guard(lock_);
      if (work_.empty()) return;
      work = std::move(work_.front());
      work_.pop_front();
      isMoreLeft = !work_.empty();
    }
    if (isMoreLeft) scheduleTurn();
    // The application's own pool waits for its next event, which may be long in coming.
    @autoreleasepool {
      (void)macos::runGuarded(work);
    }
  }

  std::mutex lock_;
  std::deque<std::function<void()>> work_;
};

class RunLoopMainThread final : public MainThread {
 public:
  void perform(std::function<void()> work) override { queue_->push(std::move(work)); }

  void performAndWait(const std::function<void()>& work) override {
    if (NSThread.isMainThread) return work();
    // Shared, because the waiting thread goes on while the task is still returning.
    const auto task = std::make_shared<std::packaged_task<void()>>(work);
    std::future<void> result = task->get_future();
    queue_->push([task] { (*task)(); });
    result.get();
  }

 private:
  std::shared_ptr<MainRunLoopQueue> queue_ = std::make_shared<MainRunLoopQueue>();
};

}  // namespace

std::shared_ptr<MainThread> makeSystemMainThread() { return std::make_shared<RunLoopMainThread>(); }

}  // namespace pellam

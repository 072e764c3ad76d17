#include "platform/main_thread.h"

#import <Foundation/Foundation.h>

#include <exception>
#include <future>
#include <utility>

namespace pellam {

namespace {

// Blocks of the run loop, not the main queue: the queue would hold everything back while work that came
// through it runs a modal loop of its own.
void performOnMainRunLoop(const std::function<void()>& work) {
  CFRunLoopPerformBlock(CFRunLoopGetMain(), kCFRunLoopCommonModes, ^{
    work();
  });
  CFRunLoopWakeUp(CFRunLoopGetMain());
}

class RunLoopMainThread final : public MainThread {
 public:
  void perform(std::function<void()> work) override { performOnMainRunLoop(work); }

  void performAndWait(const std::function<void()>& work) override {
    if (NSThread.isMainThread) return work();
    std::promise<void> done;
    std::future<void> result = done.get_future();
    performOnMainRunLoop([&work, &done] {
      try {
        work();
        done.set_value();
      } catch (...) {
        done.set_exception(std::current_exception());
      }
    });
    result.get();
  }
};

}  // namespace

std::shared_ptr<MainThread> makeSystemMainThread() { return std::make_shared<RunLoopMainThread>(); }

}  // namespace pellam

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "pellam/main_thread.h"

namespace [[gnu::visibility("default")]] pellam {

// A main thread for programs without windows: the thread that calls run() works off what others hand it, in
// order, until stop(). Make it on that thread.
//
// For example:
//
//     MainThreadQueue mainThread;
//     bool isDone = false;
//     std::thread worker([&] {
//       mainThread.performAndWait([&] { isDone = true; });
//       mainThread.stop();
//     });
//     mainThread.run();
//     worker.join();
//     assert(isDone);
class MainThreadQueue final : public MainThread {
 public:
  MainThreadQueue() : mainThread_(std::this_thread::get_id()) {}

  void perform(std::function<void()> work) override;
  void performAndWait(const std::function<void()>& work) override;

  // Works until stop() was called and everything given before it is done.
  void run();
  // Any thread.
  void stop();

 private:
  std::thread::id mainThread_;
  std::mutex lock_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> work_;
  bool isStopping_ = false;
};

}  // namespace pellam

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "pellam/main_thread.h"

namespace pellam {

// The main thread as one owner and its worker use it. What they hand over is worked off by the main thread's
// own loop, but the owner can also work it off itself: so it can wait on the main thread for a worker that
// waits for the main thread, and neither waits for ever. Work keeps its order. Make it on the main thread.
class ServicedMainThread final : public MainThread, public std::enable_shared_from_this<ServicedMainThread> {
 public:
  [[nodiscard]] static std::shared_ptr<ServicedMainThread> make(std::shared_ptr<MainThread> mainThread);

  void perform(std::function<void()> work) override;
  void performAndWait(const std::function<void()>& work) override;

  // Main thread only: works off what was handed over, and waits for more, until `isDone`, which is asked
  // after each piece of work.
  void serviceUntil(const std::function<bool()>& isDone);

 private:
  explicit ServicedMainThread(std::shared_ptr<MainThread> mainThread) : mainThread_(std::move(mainThread)) {}
  void serviceOne();

  const std::shared_ptr<MainThread> mainThread_;
  const std::thread::id threadIdentifier_ = std::this_thread::get_id();
  std::mutex lock_;
  std::condition_variable arrival_;
  std::deque<std::function<void()>> work_;
};

}  // namespace pellam

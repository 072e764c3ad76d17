#pragma once

#include <functional>
#include <memory>

namespace [[gnu::visibility("default")]] pellam {

// The thread on which windows live. Work arrives in the order in which it was given.
//
// For example:
//
//     struct AtOnce final : MainThread {  // for a program that has one thread only
//       void perform(std::function<void()> work) override { work(); }
//       void performAndWait(const std::function<void()>& work) override { work(); }
//     };
//     AtOnce mainThread;
//     bool isDone = false;
//     mainThread.performAndWait([&] { isDone = true; });
//     assert(isDone);
class MainThread {
 public:
  virtual ~MainThread() = default;
  // Runs the work on the main thread later, or soon; does not wait. Any thread.
  virtual void perform(std::function<void()> work) = 0;
  // Runs the work on the main thread and waits for it; on the main thread itself it runs at once. What the
  // work throws is thrown here.
  virtual void performAndWait(const std::function<void()>& work) = 0;
};

// The main thread of a program with windows: work is done by its event loop, nested modal loops included.
// Made on the main thread. There with Pellam::Updater alone, which brings the toolkit along.
[[nodiscard]] std::shared_ptr<MainThread> makeSystemMainThread();

}  // namespace pellam

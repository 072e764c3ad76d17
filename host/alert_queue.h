#pragma once

#include <deque>
#include <functional>

namespace pellam {

// One alert at a time. An alert's nested loop does other work of the main thread, and what comes of that must
// not open windows under a modal one: it waits here until the alert has been answered, in its order. Main
// thread only.
class AlertQueue {
 public:
  AlertQueue() = default;
  AlertQueue(const AlertQueue&) = delete;
  AlertQueue& operator=(const AlertQueue&) = delete;

  [[nodiscard]] bool isAlertOpen() const { return isOpen_; }
  // Runs the work now, or when the alert that is open has been answered.
  void whenNoAlertIsOpen(std::function<void()> work);
  // Presents an alert, which returns when it has been answered, and then does what waited; while another
  // alert is open, this one waits, too. The queue must outlive the call: whoever may be destroyed inside an
  // alert holds itself. What an alert throws passes through; what waited then waits for the next one.
  void present(std::function<void()> alert);
  // Forgets what waits.
  void clear() { waiting_.clear(); }

 private:
  bool isOpen_ = false;
  std::deque<std::function<void()>> waiting_;
};

}  // namespace pellam

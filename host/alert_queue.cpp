#include "host/alert_queue.h"

#include <utility>

namespace pellam {

namespace {

class OpenAlert {
 public:
  explicit OpenAlert(bool& isOpen) : isOpen_(isOpen) { isOpen_ = true; }
  OpenAlert(const OpenAlert&) = delete;
  OpenAlert& operator=(const OpenAlert&) = delete;
  ~OpenAlert() { isOpen_ = false; }

 private:
  bool& isOpen_;
};

}  // namespace

void AlertQueue::whenNoAlertIsOpen(std::function<void()> work) {
  if (isOpen_) {
    waiting_.push_back(std::move(work));
  } else {
    work();
  }
}

void AlertQueue::present(std::function<void()> alert) {
  if (isOpen_) {
    waiting_.push_back([this, alert = std::move(alert)] { present(alert); });
    return;
  }
  {
    const OpenAlert open(isOpen_);
    alert();
  }
  while (!isOpen_ && !waiting_.empty()) {
    const std::function<void()> next = std::move(waiting_.front());
    waiting_.pop_front();
    next();
  }
}

}  // namespace pellam

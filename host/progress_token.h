#pragma once

#include <mutex>

namespace pellam {

// True while the download that owns it is running, so that late progress of a finished download is dropped.
// Any thread.
class OrvoUpdateProgressToken {
 public:
  [[nodiscard]] bool isActive() const {
    const std::lock_guard lock(lock_);
    return active_;
  }
  void deactivate() {
    const std::lock_guard lock(lock_);
    active_ = false;
  }

 private:
  mutable std::mutex lock_;
  bool active_ = true;
};

}  // namespace pellam

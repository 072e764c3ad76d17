#pragma once

#include <mutex>
#include <optional>
#include <utility>

#include "host/download_client.h"

namespace pellam {

// Lets a download report as often as it likes while the main thread shows only what is current: a progress
// that has not been shown yet gives way to the next one, and the last one is always shown. Any thread.
class LatestDownloadProgress {
 public:
  // True when nobody is on the way to take it, so that the caller has to send somebody.
  [[nodiscard]] bool put(const OrvoUpdateInstallerDownloadProgress& progress) {
    const std::lock_guard lock(lock_);
    const bool isFirst = !latest_;
    latest_ = progress;
    return isFirst;
  }
  [[nodiscard]] std::optional<OrvoUpdateInstallerDownloadProgress> take() {
    const std::lock_guard lock(lock_);
    return std::exchange(latest_, std::nullopt);
  }

 private:
  std::mutex lock_;
  std::optional<OrvoUpdateInstallerDownloadProgress> latest_;
};

}  // namespace pellam

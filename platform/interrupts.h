#pragma once

#include <functional>
#include <memory>

namespace pellam {

// Watches for the user's wish to stop a program (Ctrl-C, a termination request) for as long as it lives. Make
// it first thing in main, before any thread starts.
class InterruptWatching {
 public:
  virtual ~InterruptWatching() = default;
};

// The handler runs on a thread of its own, once per interrupt, and may do anything.
[[nodiscard]] std::unique_ptr<InterruptWatching> watchInterrupts(std::function<void()> handler);

}  // namespace pellam

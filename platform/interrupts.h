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

// For as long as it lives this process cannot be told to stop: a request to terminate, an interrupt at the
// terminal and the loss of one (log-out, shutdown, a job that is removed) pass by and are not made up for.
// The programs that it starts can be told as usual.
class InterruptRefusal {
 public:
  virtual ~InterruptRefusal() = default;
};

[[nodiscard]] std::unique_ptr<InterruptRefusal> refuseInterrupts();

}  // namespace pellam

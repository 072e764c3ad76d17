#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace pellam {

// Stands between a connection, which calls handlers on a queue of its own, and the owner of those handlers.
// Once close() has returned, no handler is running and none will run. Thread-safe.
class HandlerGate {
 public:
  // Runs the handler unless the gate is closed.
  void pass(const std::function<void()>& handler) {
    {
      const std::lock_guard guard(lock_);
      if (isClosed_) return;
      running_.insert(std::this_thread::get_id());
    }
    struct Leaving {
      explicit Leaving(HandlerGate& left) : gate(left) {}
      Leaving(const Leaving&) = delete;
      Leaving& operator=(const Leaving&) = delete;
      ~Leaving() { gate.leave(); }
      HandlerGate& gate;
    };
    const Leaving leaving(*this);
    handler();
  }

  // Waits for the handlers that are running, except for those further up this thread's own calls.
  void close() {
    std::unique_lock guard(lock_);
    isClosed_ = true;
    left_.wait(guard, [this] { return running_.size() == running_.count(std::this_thread::get_id()); });
  }

 private:
  void leave() {
    {
      const std::lock_guard guard(lock_);
      running_.erase(running_.find(std::this_thread::get_id()));
    }
    left_.notify_all();
  }

  std::mutex lock_;
  std::condition_variable left_;
  std::multiset<std::thread::id> running_;
  bool isClosed_ = false;
};

}  // namespace pellam

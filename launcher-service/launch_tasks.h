#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>

namespace pellam {

// The launches that are running, each on a thread of its own. Destruction waits for all of them. Thread-safe.
class LaunchTasks {
 public:
  LaunchTasks();
  ~LaunchTasks();
  LaunchTasks(const LaunchTasks&) = delete;
  LaunchTasks& operator=(const LaunchTasks&) = delete;

  // Runs the work soon. The work must not throw. Throws std::system_error when no thread can be had; the work
  // is then not run.
  void start(std::function<void()> work);
  void waitUntilIdle();

 private:
  struct State {
    std::mutex lock;
    std::condition_variable becameIdle;
    std::size_t running = 0;
  };
  std::shared_ptr<State> state_;
};

}  // namespace pellam

#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/linux/system/file_descriptor.h"

namespace pellam {

// One peer-to-peer bus connection and the thread that alone may touch it. Life cycle: make, start, and then
// it ends by itself when the peer is lost, or by stop(). Everything that wants to use the bus posts a task.
class BusLoop : public std::enable_shared_from_this<BusLoop> {
 public:
  enum class Role { client, server };
  enum class End { stopped, peerLost };
  using Task = std::function<void(sd_bus*)>;

  // Takes a connected stream socket. Throws std::system_error.
  BusLoop(FileDescriptor socket, Role role);
  ~BusLoop();
  BusLoop(const BusLoop&) = delete;
  BusLoop& operator=(const BusLoop&) = delete;

  // The bus itself, for objects that are added before start().
  [[nodiscard]] sd_bus* bus() const { return bus_; }

  // Starts the thread. `willEnd` runs on it when the loop ends, before the bus is closed; `didEnd` runs last,
  // after the bus is closed. The thread keeps the loop alive.
  void start(std::function<void(End)> willEnd, std::function<void()> didEnd);

  // Runs the task on the loop's thread: at once when that is the calling thread, else soon. False when the
  // loop has ended; the task is then not run. `lost` is called there instead of a task for which the peer was
  // lost too early. Any thread.
  bool post(Task task, std::function<void()> lost = nullptr);
  // Asks the loop to end, after the tasks that were posted before. Any thread.
  void stop();
  // Waits for the thread; on the thread itself it lets go of it instead.
  void join();

 private:
  struct Posted {
    Task task;
    std::function<void()> lost;
  };

  [[nodiscard]] End run();
  [[nodiscard]] bool runTasks();
  [[nodiscard]] bool processBus();
  void waitForEvents() const;
  void close();

  sd_bus* bus_ = nullptr;
  FileDescriptor wakeUp_;
  std::mutex lock_;
  std::vector<Posted> tasks_;
  bool isStopping_ = false;
  bool hasEnded_ = false;
  std::thread thread_;
  std::atomic<std::thread::id> threadIdentifier_;
};

}  // namespace pellam

#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pellam/cancellation.h"
#include "platform/job_control.h"
#include "platform/linux/jobs/bus_call.h"
#include "platform/linux/jobs/job_description.h"

namespace pellam {

// Jobs as transient services of one systemd manager. A job's process is started when submit returns. When a
// job ends, only its own process is ended with it; what it has started goes on. Blocks; one thread at a time.
// Failures are PlatformError with the bus error's name as domain.
class SystemdJobs {
 public:
  enum class Manager { user, system };

  // Nothing when systemd is not running or this manager cannot be reached.
  [[nodiscard]] static std::optional<SystemdJobs> connect(Manager manager);
  // The manager of another user, reached as that user: call it on a thread that has taken on the identity.
  [[nodiscard]] static std::optional<SystemdJobs> connectTo(const std::string& busAddress);

  // Starts the job; `unit` is a name made by unitName(), which gets a number while it is held by what an
  // earlier job has started. Nobody is asked. A job that the manager has not started after four seconds is
  // given up and does not run.
  void submit(const std::string& unit, const JobDescription& job,
              const std::vector<std::string>& environment);
  // The same for a job with that descriptor as its standard input. With a token, an administrator may be
  // asked, for as long as it takes; then throws OperationCancelled when it is cancelled meanwhile, and this
  // object has to go, which ends the question.
  void submitWithInput(const std::string& unit, const JobDescription& job, int input,
                       const std::optional<CancellationToken>& question);
  // Nobody is asked. Waiting ends when the job has stopped. ENOENT when none is running.
  void remove(const std::string& unit, JobRemoval removal);

  [[nodiscard]] static std::string unitName(const std::string& label);

 private:
  struct BusDeleter {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };
  explicit SystemdJobs(sd_bus* bus) : bus_(bus) {}
  // Makes a call that answers with a job of the manager's own, and waits for how that job ends ("done").
  [[nodiscard]] std::string runManagerJob(sd_bus_message* message, std::chrono::seconds limit,
                                          const std::optional<CancellationToken>& question);
  [[nodiscard]] BusMessage startCall(const std::string& unit, const JobDescription& job,
                                     const std::vector<std::string>& environment, std::optional<int> input);
  void start(const std::string& unit, const JobDescription& job, sd_bus_message* call,
             const std::optional<CancellationToken>& question);
  // As the manager calls it; empty for a unit that it does not know.
  [[nodiscard]] std::string stateOf(const std::string& unit);
  // What has ended may still hold its name, so that a label has several.
  [[nodiscard]] static std::vector<std::string> names(const std::string& unit);
  // The name of the job that is running, else one that is free.
  [[nodiscard]] std::string freeName(const std::string& unit);
  void callWithoutAnswer(const char* method, const std::vector<std::string>& arguments);
  void stopGivenUp(const std::string& unit);

  std::unique_ptr<sd_bus, BusDeleter> bus_;
};

}  // namespace pellam

#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "pellam/cancellation.h"
#include "platform/job_control.h"
#include "platform/linux/jobs/job_description.h"
#include "platform/linux/jobs/jobs_agent_messages.h"
#include "platform/linux/system/file_descriptor.h"

namespace pellam {

// The administrator said no, or could not be asked: the security status.
class AdministratorRefusal final : public std::exception {
 public:
  explicit AdministratorRefusal(std::int32_t status) : status_(status) {}
  [[nodiscard]] std::int32_t status() const { return status_; }

 private:
  std::int32_t status_;
};

// The right to the system's jobs, held by a process. On this system a right cannot be kept for later and
// handed to the job manager: whoever starts something as root is asked when it starts. So what the
// administrator is asked for is this agent, a second process of a program that is fully trusted, which does
// nothing until it is told to; jobs are then removed and submitted by it, and no question comes when they
// are. The agent ends with this object, or with this process, however that ends. One thread at a time.
class JobsAgent {
 public:
  // Starts it as a unit of the system's manager, and by "pkexec" where there is none, or where the manager
  // would ask: its dialog names the program, and says whether it was denied or dismissed. Without pkexec the
  // manager asks. Blocks for as long as an administrator is asked, and returns when the agent is root and
  // waits. `program` is one that calls runAsJobsAgent() and passes requirePrivilegedProgram();
  // `managerIsGranted`: this process may start units without a question. Throws AdministratorRefusal,
  // OperationCancelled, and PlatformError when the agent cannot be started although nobody refused it. Then
  // no agent runs, no question is open and none will be answered to any effect.
  [[nodiscard]] static std::unique_ptr<JobsAgent> start(const std::filesystem::path& program,
                                                        bool managerIsGranted,
                                                        const CancellationToken& cancellation);
  // Throws PlatformError when start() is known to fail, before anybody is asked for anything.
  static void requireStartable(const std::filesystem::path& program);

  ~JobsAgent();
  JobsAgent(const JobsAgent&) = delete;
  JobsAgent& operator=(const JobsAgent&) = delete;

  // As JobControl's, for the jobs of the system that the agent's JobsAgentScope covers; EPERM for any other.
  // A job that the agent could not start within five seconds does not run. The agent ends with the first job
  // that it has submitted; further calls then fail with EPIPE.
  [[nodiscard]] JobControlOutcome remove(const std::string& label, JobRemoval removal);
  [[nodiscard]] JobControlOutcome submit(const JobDescription& job);

 private:
  explicit JobsAgent(FileDescriptor socket) : socket_(std::move(socket)) {}
  [[nodiscard]] bool startAsUnit(const std::filesystem::path& program, int input,
                                 const std::optional<CancellationToken>& question);
  void startElevated(const std::filesystem::path& program, int input, const CancellationToken& cancellation);
  [[nodiscard]] JobControlOutcome ask(const jobs_agent::Texts& request, std::chrono::milliseconds limit);

  FileDescriptor socket_;
  pid_t child_ = 0;  // when this process has started the agent itself
};

}  // namespace pellam

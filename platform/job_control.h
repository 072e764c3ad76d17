#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "pellam/bridged_error.h"
#include "pellam/property_list_value.h"
#include "platform/authorization.h"

namespace pellam {

class BundleLoading;
class FileSystem;

// Whose jobs: this user's or the system's.
enum class JobControlDomain { userLaunchd, systemLaunchd };

struct JobControlOutcome {
  bool succeeded = false;
  std::optional<BridgedError> error;  // a failure may come without one
};

// Whether a removal returns at once, or when the job's process has ended.
enum class JobRemoval { atOnce, waitsForTheEnd };

// The platform's job manager. A submitted job belongs to the manager: it runs in a session of its own, with
// its standard streams out of the way, and outlives the process that submitted it. Blocks. Any thread.
class JobControl {
 public:
  virtual ~JobControl() = default;

  // Removes the job of that label and ends its process. A label that nobody knows is a failure that changes
  // nothing.
  virtual JobControlOutcome remove(JobControlDomain domain, const std::string& label,
                                   AuthorizationReference authorization, JobRemoval removal) = 0;

  // Submits a job described by its dictionary ("Label", "ProgramArguments" and how to run it). A job that
  // still carries the label is a failure. Success means that the program has been started.
  [[nodiscard]] virtual JobControlOutcome submit(JobControlDomain domain, const PropertyListDictionary& job,
                                                 AuthorizationReference authorization) = 0;
};

[[nodiscard]] std::shared_ptr<JobControl> makeSystemJobControl(std::shared_ptr<FileSystem> fileSystem,
                                                               std::shared_ptr<BundleLoading> bundles);

// Where the right to the system's jobs belongs to a process, and cannot be handed on by an authorization, the
// program that submits such jobs is started a second time with that right, and submits them for the first.
// Serves until the first is done, and returns the exit status, when this process is the second; nothing when
// it is not, or on a system where there is none. The first thing in the main function of such a program.
//
// The second does what an administrator was asked for and nothing else, whoever gets hold of the first: it
// removes jobs whose labels end as the scope says, and submits one such job, of the scope's program.
struct JobsAgentScope {
  std::filesystem::path program;
  std::string labelEnding;
};
[[nodiscard]] std::optional<int> runAsJobsAgent(int argumentCount, char** arguments, JobControl& control,
                                                const JobsAgentScope& scope);

}  // namespace pellam

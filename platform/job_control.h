#pragma once

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

}  // namespace pellam

#pragma once

#include <filesystem>
#include <string>

#include "platform/job_control.h"
#include "platform/linux/jobs/job_description.h"

namespace pellam {

// A small job manager for systems without one: a folder with one record for each label, naming the job's
// process. The folder belongs to this user alone. Processes and threads that work on the same label take
// turns. Blocks; any thread. Failures are PlatformError.
class EmbeddedJobs {
 public:
  explicit EmbeddedJobs(std::filesystem::path folder) : folder_(std::move(folder)) {}

  // $XDG_RUNTIME_DIR/pellam-jobs, for root /run/pellam-jobs, else a folder of this user in /tmp.
  [[nodiscard]] static std::filesystem::path defaultFolder();

  // Starts the job's program. EEXIST while an earlier job of the label is running. A job that cannot be
  // recorded does not run.
  void submit(const JobDescription& job);

  // Ends the job's process: a request to terminate and, when it waits, after five seconds by force. ENOENT
  // when there is no record of the label.
  void remove(const std::string& label, JobRemoval removal);

 private:
  void prepareFolder() const;

  std::filesystem::path folder_;
};

}  // namespace pellam

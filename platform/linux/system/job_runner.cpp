#include "platform/job_runner.h"

namespace pellam {

// No library of this system keeps anything for the thread.
JobRunner makeSystemJobRunner() {
  return [](const std::function<void()>& job) { job(); };
}

}  // namespace pellam

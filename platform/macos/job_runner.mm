#include "platform/job_runner.h"

namespace pellam {

JobRunner makeSystemJobRunner() {
  return [](const std::function<void()>& job) {
    @autoreleasepool {
      job();
    }
  };
}

}  // namespace pellam

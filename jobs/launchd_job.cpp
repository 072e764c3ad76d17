#include "jobs/launchd_job.h"

namespace pellam {

PropertyListDictionary OrvoAppBundleLaunchdJob::launchdDictionary() const {
  return {{"Label", label},
          {"ProgramArguments", PropertyListArray(programArguments.begin(), programArguments.end())},
          {"EnableTransactions", false},
          {"RunAtLoad", true},
          {"Nice", 0},
          {"ProcessType", "Interactive"},
          {"LaunchOnlyOnce", true}};
}

}  // namespace pellam

#pragma once

#include <memory>

#include "platform/authorization.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"
#include "platform/job_control.h"
#include "platform/process_information.h"

namespace pellam {

// What the launcher service needs from the system. All members are set and shared by all connections.
struct ServicePlatform {
  std::shared_ptr<FileSystem> fileSystem;
  std::shared_ptr<BundleLoading> bundles;
  std::shared_ptr<ChildProcessRunning> processes;
  std::shared_ptr<ProcessInformation> processInformation;
  std::shared_ptr<UUIDGenerating> identifiers;
  std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> securityClient;
  std::shared_ptr<JobControl> jobControl;
  MonotonicTimeProvider uptime;
};

}  // namespace pellam

#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "jobs/authorization_provider.h"
#include "jobs/launchd_job.h"
#include "platform/job_control.h"

namespace pellam {

class OrvoAppBundleLaunchdJobSubmitting {
 public:
  virtual ~OrvoAppBundleLaunchdJobSubmitting() = default;
  // Removes whatever job still carries the label, then submits the new one unless `shouldProceed` says no.
  // Blocks until the old job has ended and the new one is started. Throws OrvoUpdateInstallerError:
  // replacementHelperLaunchTimedOut or replacementHelperLaunchFailed; then no new job exists.
  virtual void submit(const OrvoAppBundleLaunchdJob& job,
                      const OrvoAppBundleLaunchdAuthorization& authorization,
                      const std::function<bool()>& shouldProceed) = 0;
};

class OrvoAppBundleServiceManagementJobSubmitter final : public OrvoAppBundleLaunchdJobSubmitting {
 public:
  explicit OrvoAppBundleServiceManagementJobSubmitter(std::shared_ptr<JobControl> jobControl)
      : jobControl_(std::move(jobControl)) {}
  void submit(const OrvoAppBundleLaunchdJob& job, const OrvoAppBundleLaunchdAuthorization& authorization,
              const std::function<bool()>& shouldProceed) override;

 private:
  std::shared_ptr<JobControl> jobControl_;
};

}  // namespace pellam

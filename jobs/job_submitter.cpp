#include "jobs/job_submitter.h"

#include "pellam/installer_error.h"

namespace pellam {

void OrvoAppBundleServiceManagementJobSubmitter::submit(
    const OrvoAppBundleLaunchdJob& job, const OrvoAppBundleLaunchdAuthorization& authorization,
    const std::function<bool()>& shouldProceed) {
  using Phase = OrvoAppBundleInstallerLaunchPhase;
  const JobControlDomain domain = job.domain == OrvoAppBundleLaunchdJobDomain::user
                                      ? JobControlDomain::userLaunchd
                                      : JobControlDomain::systemLaunchd;
  // Usually there is no such job, and that is reported as a failure.
  (void)jobControl_->remove(domain, job.label, authorization.authorizationRef(), JobRemoval::waitsForTheEnd);
  if (!shouldProceed()) {
    throw OrvoUpdateInstallerError::replacementHelperLaunchTimedOut(Phase::postAuthorization);
  }
  const JobControlOutcome outcome =
      jobControl_->submit(domain, job.launchdDictionary(), authorization.authorizationRef());
  if (outcome.succeeded) return;
  if (outcome.error) {
    throw OrvoUpdateInstallerError::replacementHelperLaunchFailed(
        OrvoAppBundleInstallerFailureDiagnostic::fromError(Phase::jobSubmission, *outcome.error));
  }
  throw OrvoUpdateInstallerError::replacementHelperLaunchFailed(
      {Phase::jobSubmission, "ServiceManagement.SMJobSubmit", std::nullopt,
       "SMJobSubmit returned false without an error."});
}

}  // namespace pellam

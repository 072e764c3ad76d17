#include "platform/job_control.h"

#include <unistd.h>

#include <cerrno>
#include <exception>
#include <functional>
#include <utility>

#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/linux/jobs/application_opener.h"
#include "platform/linux/jobs/embedded_jobs.h"
#include "platform/linux/jobs/job_process.h"
#include "platform/linux/jobs/platform_authorization.h"
#include "platform/linux/jobs/privileged_program.h"
#include "platform/linux/jobs/systemd_jobs.h"

namespace pellam {

namespace {

JobControlOutcome outcomeOf(const std::function<void()>& work) {
  try {
    work();
    return {true, std::nullopt};
  } catch (const std::exception& error) {
    return {false, bridge(error)};
  }
}

// Who carries out an ordinary user's jobs of the system, if anybody does; never asks.
JobControlOutcome throughAgent(AuthorizationReference authorization,
                               const std::function<JobControlOutcome(JobsAgent&)>& work) {
  if (authorization != nullptr && authorization->agent) return work(*authorization->agent);
  if (authorization != nullptr && authorization->failure) return {false, authorization->failure};
  return {false, jobError(EACCES, "jobs of the system need an administrator's authorization").bridged()};
}

// systemd where it runs, else this system's own small job manager. Root has one kind of jobs only, the
// system's; an ordinary user's jobs of the system are those of the agent that an administrator has granted.
class SystemJobControl final : public JobControl {
 public:
  SystemJobControl(std::shared_ptr<FileSystem> fileSystem, std::shared_ptr<BundleLoading> bundles)
      : fileSystem_(std::move(fileSystem)), bundles_(std::move(bundles)) {}

  JobControlOutcome remove(JobControlDomain domain, const std::string& label,
                           AuthorizationReference authorization, JobRemoval removal) override {
    if (isElevating(domain)) {
      return throughAgent(authorization, [&](JobsAgent& agent) { return agent.remove(label, removal); });
    }
    // An earlier job may have been submitted while there was no systemd, or before it came back.
    JobControlOutcome outcome = outcomeOf([&] {
      auto manager = managerOf(domain);
      if (!manager) throw jobError(ENOENT, "systemd is not running");
      manager->remove(SystemdJobs::unitName(label), removal);
    });
    const JobControlOutcome embedded =
        outcomeOf([&] { EmbeddedJobs(EmbeddedJobs::defaultFolder()).remove(label, removal); });
    return outcome.succeeded ? outcome : embedded;
  }

  JobControlOutcome submit(JobControlDomain domain, const PropertyListDictionary& dictionary,
                           AuthorizationReference authorization) override {
    try {
      JobDescription job = JobDescription::fromDictionary(dictionary);
      if (const auto request = OpenRequest::fromArguments(job.arguments)) {
        openApplication(*request, *fileSystem_, *bundles_);
      } else if (isElevating(domain)) {
        job.arguments.front() = requirePrivilegedProgram(job.arguments.front()).string();
        return throughAgent(authorization, [&](JobsAgent& agent) { return agent.submit(job); });
      } else if (auto manager = managerOf(domain)) {
        manager->submit(SystemdJobs::unitName(job.label), job, sessionEnvironment(std::nullopt));
      } else {
        EmbeddedJobs(EmbeddedJobs::defaultFolder()).submit(job);
      }
      return {true, std::nullopt};
    } catch (const std::exception& error) {
      return {false, bridge(error)};
    }
  }

 private:
  static bool isElevating(JobControlDomain domain) {
    return domain == JobControlDomain::systemLaunchd && ::geteuid() != 0;
  }
  static std::optional<SystemdJobs> managerOf(JobControlDomain domain) {
    const bool isSystem = domain == JobControlDomain::systemLaunchd || ::geteuid() == 0;
    return SystemdJobs::connect(isSystem ? SystemdJobs::Manager::system : SystemdJobs::Manager::user);
  }

  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<BundleLoading> bundles_;
};

}  // namespace

std::shared_ptr<JobControl> makeSystemJobControl(std::shared_ptr<FileSystem> fileSystem,
                                                 std::shared_ptr<BundleLoading> bundles) {
  return std::make_shared<SystemJobControl>(std::move(fileSystem), std::move(bundles));
}

}  // namespace pellam

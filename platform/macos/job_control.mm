#include "platform/job_control.h"

#import <ServiceManagement/ServiceManagement.h>

#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

CFStringRef domainName(JobControlDomain domain) {
  return domain == JobControlDomain::systemLaunchd ? kSMDomainSystemLaunchd : kSMDomainUserLaunchd;
}

JobControlOutcome outcome(Boolean succeeded, CFErrorRef error) {
  NSError* owned = CFBridgingRelease(error);
  if (succeeded != 0) return {true, std::nullopt};
  return {false, owned == nil ? std::nullopt : std::optional(macos::bridgedError(owned))};
}

// Submitting and removing jobs by dictionary is deprecated since macOS 10.10 and has no successor: the newer
// interface registers only what is sealed inside the calling application's bundle and keeps it across
// restarts, while an installer job runs once, for any user, with arguments made for one update. The two calls
// are wrapped here and nowhere else.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
class LaunchdJobControl final : public JobControl {
 public:
  JobControlOutcome remove(JobControlDomain domain, const std::string& label,
                           AuthorizationReference authorization, JobRemoval removal) override {
    CFErrorRef error = nullptr;
    const Boolean succeeded = SMJobRemove(domainName(domain), (__bridge CFStringRef)macos::stringFrom(label),
                                          reinterpret_cast<AuthorizationRef>(authorization),
                                          removal == JobRemoval::waitsForTheEnd ? 1 : 0, &error);
    return outcome(succeeded, error);
  }

  JobControlOutcome submit(JobControlDomain domain, const PropertyListDictionary& job,
                           AuthorizationReference authorization) override {
    CFErrorRef error = nullptr;
    const Boolean succeeded =
        SMJobSubmit(domainName(domain), (__bridge CFDictionaryRef)macos::dictionaryFrom(job),
                    reinterpret_cast<AuthorizationRef>(authorization), &error);
    return outcome(succeeded, error);
  }
};
#pragma clang diagnostic pop

}  // namespace

std::shared_ptr<JobControl> makeSystemJobControl(std::shared_ptr<FileSystem>,
                                                 std::shared_ptr<BundleLoading>) {
  return std::make_shared<LaunchdJobControl>();
}

// The job manager takes the authorization itself.
std::optional<int> runAsJobsAgent(int, char**, JobControl&, const JobsAgentScope&) { return std::nullopt; }

}  // namespace pellam

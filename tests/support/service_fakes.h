#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "installer/relaunching.h"
#include "installer/replacement_checks.h"
#include "jobs/authorization_provider.h"
#include "jobs/job_submitter.h"
#include "pellam/installer_error.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "tests/support/fake_bundles.h"
#include "tests/support/fake_tools.h"

// Recording collaborators for the launcher service's tests. All that happens goes into one shared journal, so
// that tests can see the order across collaborators.
namespace pellam::testing_support {

using Journal = std::vector<std::string>;

inline AuthorizationReference fakeReference() { return reinterpret_cast<AuthorizationReference>(0x10); }

// The platform's authorization calls with scripted statuses.
struct FakeSecurityClient final : OrvoAppBundleSecurityAuthorizationClient {
  explicit FakeSecurityClient(Journal& shared) : journal(shared) {}
  Journal& journal;
  std::int32_t createStatus = 0;
  bool givesReference = true;
  std::int32_t copyStatus = 0;
  std::function<void()> whileAsking{};
  std::int32_t setStatus = 0;

  std::int32_t authorizationCreate(std::uint32_t flags, AuthorizationReference& reference) override {
    journal.push_back("create flags=" + std::to_string(flags));
    if (givesReference) reference = fakeReference();
    return createStatus;
  }
  std::int32_t authorizationCopyRights(AuthorizationReference, const std::vector<std::string>& names,
                                       std::uint32_t flags, const CancellationToken&) override {
    std::string line = "copy";
    for (const std::string& name : names) line += " " + name;
    journal.push_back(line + " flags=" + std::to_string(flags));
    if (whileAsking) whileAsking();
    return copyStatus;
  }
  std::int32_t authorizationRightSet(AuthorizationReference, const std::string& name, const std::string& rule,
                                     const std::string& prompt) override {
    journal.push_back("set " + name + " " + rule + " \"" + prompt + "\"");
    return setStatus;
  }
  std::int32_t authorizationFree(AuthorizationReference, std::uint32_t flags) override {
    journal.push_back("free flags=" + std::to_string(flags));
    return 0;
  }
};

struct FakeJobControl final : JobControl {
  explicit FakeJobControl(Journal& shared) : journal(shared) {}
  Journal& journal;
  JobControlOutcome submission{true, std::nullopt};
  PropertyListDictionary submitted;

  static std::string name(JobControlDomain domain) {
    return domain == JobControlDomain::userLaunchd ? "user" : "system";
  }
  JobControlOutcome remove(JobControlDomain domain, const std::string& label,
                           AuthorizationReference reference, JobRemoval removal) override {
    const bool wait = removal == JobRemoval::waitsForTheEnd;
    journal.push_back("remove " + name(domain) + " " + label + (wait ? " wait" : "") +
                      (reference == nullptr ? " unauthorized" : ""));
    return {false, BridgedError{"D", 6, "no such job"}};
  }
  JobControlOutcome submit(JobControlDomain domain, const PropertyListDictionary& job,
                           AuthorizationReference reference) override {
    journal.push_back("submit " + name(domain) + (reference == nullptr ? " unauthorized" : ""));
    submitted = job;
    return submission;
  }
};

struct FakeChecks final : OrvoAppBundleReplacementPermissionChecking,
                          OrvoAppBundleReplacementPrivilegeChecking,
                          OrvoAppBundleReplacementOwnershipMatching {
  bool isWritable = true;
  bool canMatch = true;
  bool isPrivileged = false;
  bool destinationParentIsWritable(const std::filesystem::path&) override { return isWritable; }
  bool processCanReplaceNonWritableDestination() override { return isPrivileged; }
  bool processCanMatchInstalledOwnership(const std::filesystem::path&) override { return canMatch; }
  void matchOwnerAndGroupOfItem(const std::filesystem::path&, const std::filesystem::path&) override {}
};

struct FakeRelauncher final : OrvoAppBundleReplacementRelaunching {
  explicit FakeRelauncher(Journal& shared) : journal(shared) {}
  Journal& journal;
  bool answer = true;
  bool relaunchApplication(const std::filesystem::path& application) override {
    journal.push_back("workspace " + application.string());
    return answer;
  }
};

}  // namespace pellam::testing_support

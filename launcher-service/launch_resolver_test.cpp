#include "launcher-service/launch_resolver.h"

#include <gtest/gtest.h>

#include <utility>

#include "installer/failure_report.h"
#include "launcher-protocol/launch_refusal.h"
#include "launcher-protocol/replacement_message.h"
#include "tests/support/forwarding_file_system.h"
#include "tests/support/service_fakes.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using namespace testing_support;
using Refusal = OrvoAppBundleInstallerLaunchRefusal;
using Resolver = OrvoAppBundleInstallerLauncherServiceLaunchResolver;
namespace fs = std::filesystem;

struct FakeIdentity final : OrvoAppBundleInstallerLauncherServiceHostIdentityResolving {
  OrvoAppBundleUpdateHostIdentity verified{"com.example.E", "1.0", 10, "TEAM123456", false};
  std::optional<Refusal> refusal;
  fs::path askedFor;
  OrvoAppBundleUpdateHostIdentity makeHostIdentity(const fs::path& application,
                                                   const OrvoAppBundleUpdateHostIdentity&) override {
    askedFor = application;
    if (refusal) throw Refusal(*refusal);
    return verified;
  }
};

// A real application folder with a service and a helper in it, and a home folder beside it.
struct LaunchResolver : testing::Test {
  TemporaryFolder folder;
  std::shared_ptr<FileSystem> files = makeSystemFileSystem();
  std::shared_ptr<FakeBundles> bundles = std::make_shared<FakeBundles>();
  std::shared_ptr<FakeIdentity> identity = std::make_shared<FakeIdentity>();
  std::int32_t hostProcess = 77;
  fs::path application = folder / "Editor.app";
  fs::path helper = application / "Contents/MacOS/PellamUpdateInstaller";
  fs::path home = folder / "home";
  OrvoAppBundleXPCReplacementMessage message;

  LaunchResolver() {
    folder.write(fs::relative(helper, folder.path()), "#!/bin/sh\n");
    fs::permissions(helper, fs::perms::owner_all);
    fs::create_directories(application / "Contents/XPCServices/S.xpc");
    fs::create_directories(home);
    bundles->main = application / "Contents/XPCServices/S.xpc";
    message.request.stagedApplicationURL = "/stage/New.app";
    message.request.installedApplicationURL = application;
    message.request.hostIdentity =
        OrvoAppBundleUpdateHostIdentity{"com.example.E", "x", 1, std::nullopt, false};
    message.request.launchUserContext = OrvoAppBundleLaunchdUserContext{1, 1, "forged", "/forged"};
    message.request.failureReportAttemptIdentifier = "attempt";
  }

  OrvoAppBundleXPCReplacementLaunch resolve() {
    Resolver resolver({.hostIdentityResolver = identity,
                       .launchUserContextProvider =
                           [this] {
                             return OrvoAppBundleLaunchdUserContext{501, 20, "ada", home.string()};
                           },
                       .hostProcessIdentifierProvider = [this] { return hostProcess; },
                       .fileSystem = files,
                       .bundles = bundles,
                       .helperExecutableName = "AnotherHelper"});
    return resolver.makeLaunch(message.propertyList());
  }
  std::optional<Refusal> refusal() {
    try {
      (void)resolve();
      return std::nullopt;
    } catch (const Refusal& refused) {
      return refused;
    }
  }
  fs::path report(const char* below = "Library/Application Support") const {
    return home / below / "com.example.E/SeamlessInstaller/PellamUpdateInstallerFailure.plist";
  }
};

TEST_F(LaunchResolver, ReplacesWhatTheHostSaysByWhatItFinds) {
  fs::create_directory_symlink(application, folder / "link.app");
  message.request.installedApplicationURL = folder / "link.app";
  message.request.failureReportURL = report();
  const OrvoAppBundleXPCReplacementLaunch launch = resolve();
  OrvoAppBundleReplacementRequest expected;
  expected.stagedApplicationURL = "/stage/New.app";
  expected.installedApplicationURL = application;
  expected.helperExecutableURL = helper;
  expected.hostIdentity = identity->verified;
  expected.launchUserContext = OrvoAppBundleLaunchdUserContext{501, 20, "ada", home.string()};
  expected.failureReportURL = report();
  expected.failureReportAttemptIdentifier = "attempt";
  EXPECT_EQ(launch.request, expected);
  EXPECT_EQ(launch.hostProcessIdentifier, 77);
  EXPECT_EQ(identity->askedFor, application);
}

TEST_F(LaunchResolver, RefusesAServiceOutsideAnApplication) {
  const fs::path places[] = {folder / "Editor.app/Contents/XPCServices/S.bundle", folder / "S.xpc",
                             folder / "Editor.app/Contents/S.xpc"};
  for (const fs::path& place : places) {
    bundles->main = place;
    EXPECT_EQ(refusal(), Refusal::serviceNotEmbeddedInApplication(place.string()));
  }
  fs::create_directories(folder / "E.APP/Contents/XPCServices/S.XPC");
  bundles->main = folder / "E.APP/Contents/XPCServices/S.XPC";
  EXPECT_EQ(Resolver::defaultContainingApplicationURL(*files, *bundles), folder / "E.APP");
}

TEST_F(LaunchResolver, RefusesAnotherApplicationThanItsOwn) {
  for (const fs::path& other : {folder / "Other.app", application / "Contents", fs::path("Editor.app")}) {
    message.request.installedApplicationURL = other;
    const auto refused = refusal();
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->refusalCase(), Refusal::Case::installedApplicationPathMismatch);
    EXPECT_TRUE(refused->description().ends_with("containingPath=" + application.string()));
  }
}

TEST_F(LaunchResolver, ChecksInItsOrder) {
  // Everything is wrong at once; each repair uncovers the next refusal.
  hostProcess = 0;
  fs::permissions(helper, fs::perms::owner_read);
  message.request.failureReportURL = "/elsewhere/PellamUpdateInstallerFailure.plist";
  identity->refusal = Refusal::teamIdentifierMismatch("A", "B");
  message.request.installedApplicationURL = folder / "Other.app";
  const fs::path service = std::exchange(bundles->main, folder / "S.xpc");
  const auto asked = std::exchange(message.request.hostIdentity, std::nullopt);
  EXPECT_EQ(refusal()->refusalCase(), Refusal::Case::malformedMessage);
  message.request.hostIdentity = asked;
  EXPECT_EQ(refusal()->refusalCase(), Refusal::Case::serviceNotEmbeddedInApplication);
  bundles->main = service;
  EXPECT_EQ(refusal()->refusalCase(), Refusal::Case::installedApplicationPathMismatch);
  message.request.installedApplicationURL = application;
  EXPECT_EQ(refusal(), Refusal::teamIdentifierMismatch("A", "B"));
  identity->refusal.reset();
  EXPECT_EQ(refusal()->refusalCase(), Refusal::Case::failureReportPathNotAllowed);
  message.request.failureReportURL.reset();
  try {
    (void)resolve();
    ADD_FAILURE() << "accepted";
  } catch (const OrvoUpdateInstallerError& error) {
    EXPECT_EQ(error.errorCase(), OrvoUpdateInstallerError::Case::replacementHelperUnavailable);
  }
  fs::permissions(helper, fs::perms::owner_all);
  EXPECT_EQ(refusal(), Refusal::hostProcessIdentifierUnavailable(0));
  hostProcess = -1;
  EXPECT_EQ(refusal(), Refusal::hostProcessIdentifierUnavailable(-1));
  hostProcess = 1;
  EXPECT_EQ(refusal(), std::nullopt);
}

TEST_F(LaunchResolver, AllowsTheTwoReportPlacesAndReturnsItsOwnSpelling) {
  for (const char* below :
       {"Library/Application Support", "Library/Containers/com.example.E/Data/Library/Application Support"}) {
    message.request.failureReportURL = report(below);
    EXPECT_EQ(resolve().request.failureReportURL, report(below));

    fs::create_directories(report(below).parent_path());
    const fs::path link = folder / "reports";
    fs::remove(link);
    fs::create_directory_symlink(report(below).parent_path(), link);
    message.request.failureReportURL = link / "PellamUpdateInstallerFailure.plist";
    EXPECT_EQ(resolve().request.failureReportURL, report(below));
  }
}

// While there is no report yet, the paths alone have to tell.
TEST_F(LaunchResolver, KnowsAHomeFolderBehindALinkUnderBothNames) {
  const fs::path linked = folder / "linked";
  fs::create_directory_symlink(home, linked);
  const fs::path below = fs::relative(report(), home);
  for (const auto& [own, asked] :
       {std::pair(home, linked), std::pair(linked, home), std::pair(linked, linked)}) {
    message.request.failureReportURL = asked / below;
    const fs::path before = std::exchange(home, own);
    EXPECT_EQ(resolve().request.failureReportURL, own / below) << asked;
    home = before;
  }
}

TEST_F(LaunchResolver, RefusesEveryOtherReportPlace) {
  fs::create_directories(report().parent_path());
  for (const fs::path& other :
       {report().parent_path() / "other.plist",
        report().parent_path() / ".." / "PellamUpdateInstallerFailure.plist",
        folder / "PellamUpdateInstallerFailure.plist", fs::path("/etc/PellamUpdateInstallerFailure.plist"),
        report() / "PellamUpdateInstallerFailure.plist", fs::path("")}) {
    message.request.failureReportURL = other;
    const auto refused = refusal();
    ASSERT_TRUE(refused) << other;
    EXPECT_TRUE(refused->description().ends_with(
        "allowedPaths=" + report().string() + "," +
        report("Library/Containers/com.example.E/Data/Library/Application Support").string()))
        << refused->description();
  }
}

// The same folder under two names, as after a bind mount: names differ, numbers do not.
TEST_F(LaunchResolver, ComparesReportFoldersByTheirNumbers) {
  struct TwoNames final : ForwardingFileSystem {
    FileAttributes alias;
    FileAttributes attributes(const fs::path& path) const override {
      return path.native().starts_with("/alias") ? alias : ForwardingFileSystem::attributes(path);
    }
  };
  fs::create_directories(report().parent_path());
  const auto twoNames = std::make_shared<TwoNames>();
  twoNames->alias = files->attributes(report().parent_path());
  files = twoNames;
  message.request.failureReportURL = "/alias/PellamUpdateInstallerFailure.plist";
  EXPECT_EQ(resolve().request.failureReportURL, report());

  const FileAttributes same = twoNames->alias;
  for (const auto& change : std::vector<std::function<void(FileAttributes&)>>{
           [](FileAttributes& attributes) { attributes.fileNumber += 1; },
           [](FileAttributes& attributes) { attributes.fileSystemNumber += 1; },
           [](FileAttributes& attributes) { attributes.type = FileType::regular; }}) {
    twoNames->alias = same;
    change(twoNames->alias);
    ASSERT_TRUE(refusal());
    EXPECT_EQ(refusal()->refusalCase(), Refusal::Case::failureReportPathNotAllowed);
  }
}

}  // namespace
}  // namespace pellam

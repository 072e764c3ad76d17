#include "installer/replacement_executor.h"

#include <gtest/gtest.h>

#include <set>
#include <system_error>

#include "pellam/installer_error.h"
#include "tests/support/forwarding_file_system.h"
#include "tests/support/replacement_fakes.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;
using Error = OrvoUpdateInstallerError;

// The disk, with a record of what changes names and with moves, marks and volumes that can be scripted.
class ScriptedDisk final : public ForwardingFileSystem {
 public:
  void moveItem(const Path& source, const Path& destination) override {
    record("move", source, destination);
    if (failingMoves.contains(++moves))
      throw std::system_error(ENOSPC, std::generic_category(), source.string());
    ForwardingFileSystem::moveItem(source, destination);
  }
  void removeItem(const Path& path) override {
    record("remove", path, {});
    ForwardingFileSystem::removeItem(path);
  }
  void copyItem(const Path& source, const Path& destination) override {
    record("copy", source, destination);
    ForwardingFileSystem::copyItem(source, destination);
  }
  int removeQuarantineAttribute(const Path& path) override {
    released.push_back(path.filename());
    return quarantined.contains(path.filename()) ? EACCES : 0;
  }
  void enumerate(const Path& path, EnumerationOptions options,
                 const std::function<EnumerationStep(const Path&)>& visitor) const override {
    if (cannotEnumerate) throw std::system_error(EACCES, std::generic_category(), path.string());
    ForwardingFileSystem::enumerate(path, options, visitor);
  }
  FileAttributes attributes(const Path& path) const override {
    FileAttributes attributes = ForwardingFileSystem::attributes(path);
    if (!otherVolume.empty() && path.string().starts_with(otherVolume.string()))
      attributes.fileSystemNumber = 999;
    return attributes;
  }

  Path root;
  Path otherVolume;
  std::set<int> failingMoves;
  std::set<std::string> quarantined;
  bool cannotEnumerate = false;
  std::vector<std::string> steps;
  std::vector<std::string> released;
  int moves = 0;

 private:
  void record(const std::string& operation, const Path& source, const Path& destination) {
    if (source.string().find("orvo-update-write") != std::string::npos) return;
    std::string step = operation + " " + source.lexically_relative(root).string();
    if (!destination.empty()) step += " -> " + destination.lexically_relative(root).string();
    steps.push_back(step);
  }
};

struct ScriptedValidator final : OrvoAppBundleUpdateValidating {
  void validateAppBundle(const fs::path& bundle, const OrvoAppBundleUpdateHostIdentity&) override {
    validated.push_back(bundle);
    if (refusal) throw Error(*refusal);
  }
  std::vector<fs::path> validated;
  std::optional<Error::Case> refusal;
};

const std::string attempt = "SeamlessInstaller/0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
const std::string backup = "Apps/Editor.app.orvo-update-backup-00000000-0000-4000-8000-000000000001";

class ExecutorTest : public testing::Test {
 public:
  ExecutorTest() {
    disk_->root = folder_.path();
    folder_.write("Apps/Editor.app/version", "old");
    folder_.write(attempt + "/Extracted/Editor.app/version", "new");
    request_.stagedApplicationURL = folder_ / (attempt + "/Extracted/Editor.app");
    request_.installedApplicationURL = folder_ / "Apps/Editor.app";
  }

  // "replaced", or the error's case.
  std::string execute() {
    OrvoAppBundleReplacementExecutor executor(
        {.fileSystem = disk_,
         .relauncher = relauncher_,
         .permissionChecker = permission_,
         .privilegeChecker = privilege_,
         .diagnosticLog = [&](const std::string& line) { lines_.push_back(line); },
         .identifiers = std::make_shared<CountingIdentifiers>(),
         .makeValidator = [&] { return std::make_unique<Forward>(validator_); }});
    try {
      result_ = executor.executeReplacement(request_, [&](const std::exception&) {
        failureSeenBeforeRelaunches_ = relauncher_->relaunched.size();
      });
      return "replaced";
    } catch (const Error& error) {
      return std::string(error.caseName());
    }
  }
  std::string installed() const { return TemporaryFolder::read(folder_ / "Apps/Editor.app/version"); }
  std::vector<std::string> names(const fs::path& at) const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder_ / at)) found.push_back(entry.path().filename());
    return found;
  }

  struct Forward final : OrvoAppBundleUpdateValidating {
    explicit Forward(ScriptedValidator& validator) : target(validator) {}
    void validateAppBundle(const fs::path& bundle, const OrvoAppBundleUpdateHostIdentity& host) override {
      target.validateAppBundle(bundle, host);
    }
    ScriptedValidator& target;
  };

  TemporaryFolder folder_;
  std::shared_ptr<ScriptedDisk> disk_ = std::make_shared<ScriptedDisk>();
  std::shared_ptr<RecordingRelauncher> relauncher_ = std::make_shared<RecordingRelauncher>();
  std::shared_ptr<ScriptedPermission> permission_ = std::make_shared<ScriptedPermission>();
  std::shared_ptr<ScriptedPrivilege> privilege_ = std::make_shared<ScriptedPrivilege>();
  ScriptedValidator validator_;
  OrvoAppBundleReplacementRequest request_;
  OrvoAppBundleReplacementResult result_;
  std::vector<std::string> lines_;
  std::optional<std::size_t> failureSeenBeforeRelaunches_;
};

TEST_F(ExecutorTest, SwapsByTwoRenamesRelaunchesThenCleansUp) {
  relauncher_->onRelaunch = [&] { disk_->steps.push_back("relaunch"); };
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(disk_->steps,
            (std::vector<std::string>{"move Apps/Editor.app -> " + backup,
                                      "move " + attempt + "/Extracted/Editor.app -> Apps/Editor.app",
                                      "relaunch", "remove " + backup, "remove " + attempt}));
  EXPECT_EQ(installed(), "new");
  EXPECT_EQ(names("Apps"), std::vector<std::string>{"Editor.app"});
  EXPECT_TRUE(names("SeamlessInstaller").empty());
  EXPECT_EQ(result_, (OrvoAppBundleReplacementResult{folder_ / "Apps/Editor.app", folder_ / backup}));
  EXPECT_TRUE(validator_.validated.empty());
  EXPECT_EQ(privilege_->questions, 0);
  EXPECT_TRUE(lines_.empty());
}

TEST_F(ExecutorTest, RefusesWithoutTouchingAnything) {
  fs::create_directory_symlink(request_.stagedApplicationURL, folder_ / "Link.app");
  folder_.write("File.app", "");
  fs::create_directories(folder_ / "Editor.bundle");
  const OrvoAppBundleUpdateHostIdentity host{"b", "1", 1, std::nullopt, false};
  const struct {
    const char* name;
    std::function<void(ExecutorTest&)> arrange;
    const char* error;
    std::size_t relaunches;
  } cases[] = {
      {"staged link", [](ExecutorTest& t) { t.request_.stagedApplicationURL = t.folder_ / "Link.app"; },
       "replacementFailed", 1},
      {"staged link with slash",
       [](ExecutorTest& t) { t.request_.stagedApplicationURL = t.folder_ / "Link.app/"; },
       "replacementFailed", 1},
      {"staged file", [](ExecutorTest& t) { t.request_.stagedApplicationURL = t.folder_ / "File.app"; },
       "replacementFailed", 1},
      {"staged extension",
       [](ExecutorTest& t) { t.request_.stagedApplicationURL = t.folder_ / "Editor.bundle"; },
       "replacementFailed", 1},
      {"staged missing", [](ExecutorTest& t) { t.request_.stagedApplicationURL = t.folder_ / "No.app"; },
       "replacementFailed", 1},
      {"installed missing",
       [](ExecutorTest& t) { t.request_.installedApplicationURL = t.folder_ / "No.app"; },
       "replacementFailed", 0},
      {"installed file", [](ExecutorTest& t) { t.request_.installedApplicationURL = t.folder_ / "File.app"; },
       "replacementFailed", 0},
      {"validator", [](ExecutorTest& t) { t.validator_.refusal = Error::Case::teamIdentifierMismatch; },
       "teamIdentifierMismatch", 1},
      {"not writable", [](ExecutorTest& t) { t.permission_->answer = false; }, "destinationNotWritable", 1},
  };
  const OrvoAppBundleReplacementRequest original = request_;
  for (const auto& row : cases) {
    request_ = original;
    request_.hostIdentity = host;
    validator_.refusal.reset();
    relauncher_->relaunched.clear();
    failureSeenBeforeRelaunches_.reset();
    row.arrange(*this);
    EXPECT_EQ(execute(), row.error) << row.name;
    EXPECT_TRUE(disk_->steps.empty()) << row.name;
    EXPECT_TRUE(disk_->released.empty()) << row.name;
    EXPECT_EQ(relauncher_->relaunched.size(), row.relaunches) << row.name;
    EXPECT_EQ(failureSeenBeforeRelaunches_, 0U) << row.name;
    EXPECT_EQ(installed(), "old") << row.name;
  }
  EXPECT_EQ(privilege_->questions, 1);
}

TEST_F(ExecutorTest, APrivilegedProcessReplacesWhatItCannotProbe) {
  permission_->answer = false;
  privilege_->answer = true;
  request_.hostIdentity = OrvoAppBundleUpdateHostIdentity{"b", "1", 1, std::nullopt, false};
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(privilege_->questions, 1);
  EXPECT_EQ(validator_.validated, std::vector<fs::path>{request_.stagedApplicationURL});
}

TEST_F(ExecutorTest, ARefusedRelaunchPutsTheOldBundleBackAndStartsItOnce) {
  relauncher_->answers = {false, true};
  EXPECT_EQ(execute(), "relaunchFailed");
  EXPECT_EQ(disk_->steps,
            (std::vector<std::string>{"move Apps/Editor.app -> " + backup,
                                      "move " + attempt + "/Extracted/Editor.app -> Apps/Editor.app",
                                      "remove Apps/Editor.app", "move " + backup + " -> Apps/Editor.app"}));
  EXPECT_EQ(relauncher_->relaunched.size(), 2U);
  EXPECT_EQ(failureSeenBeforeRelaunches_, 1U);
  EXPECT_EQ(installed(), "old");
  EXPECT_EQ(names("Apps"), std::vector<std::string>{"Editor.app"});
  EXPECT_TRUE(names(attempt + "/Extracted").empty());
}

TEST_F(ExecutorTest, AFailedSecondMoveRestoresTheBackup) {
  disk_->failingMoves = {2};
  EXPECT_EQ(execute(), "replacementFailed");
  EXPECT_EQ(disk_->steps.back(), "move " + backup + " -> Apps/Editor.app");
  EXPECT_EQ(disk_->moves, 3);
  EXPECT_EQ(installed(), "old");
  EXPECT_TRUE(fs::exists(request_.stagedApplicationURL));
  EXPECT_EQ(relauncher_->relaunched.size(), 1U);
}

TEST_F(ExecutorTest, AFailedFirstMoveStillRestoresRemoveThenMove) {
  disk_->failingMoves = {1};
  EXPECT_EQ(execute(), "replacementFailed");
  EXPECT_EQ(disk_->steps,
            (std::vector<std::string>{"move Apps/Editor.app -> " + backup, "remove Apps/Editor.app",
                                      "move " + backup + " -> Apps/Editor.app",
                                      "move " + attempt + "/Extracted/Editor.app -> Apps/Editor.app"}));
  EXPECT_EQ(installed(), "new");
  EXPECT_EQ(relauncher_->relaunched.size(), 1U);
}

TEST_F(ExecutorTest, TheCauseTravelsWithTheError) {
  disk_->failingMoves = {2};
  OrvoAppBundleReplacementExecutor executor({.fileSystem = disk_,
                                             .relauncher = relauncher_,
                                             .permissionChecker = permission_,
                                             .privilegeChecker = privilege_,
                                             .identifiers = std::make_shared<CountingIdentifiers>()});
  disk_->quarantined.clear();
  try {
    (void)executor.executeReplacement(request_);
    FAIL() << "the second move fails";
  } catch (const Error& error) {
    EXPECT_EQ(error, Error(Error::Case::replacementFailed));
    EXPECT_THROW(std::rethrow_if_nested(error), std::system_error);
  }
}

TEST_F(ExecutorTest, OneLineNamesTheFirstItemThatStaysQuarantined) {
  folder_.write(attempt + "/Extracted/Editor.app/a", "");
  folder_.write(attempt + "/Extracted/Editor.app/b/c", "");
  const std::string staged = request_.stagedApplicationURL.string();
  const std::string start = "Failed to release quarantine at " + staged + "; firstFailedItem=" + staged;
  disk_->quarantined = {"c", "version"};
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(lines_, std::vector<std::string>{start + "/b/c error=EACCES (Permission denied)"});
  EXPECT_EQ(disk_->released, (std::vector<std::string>{"Editor.app", "a", "b", "c", "version"}));
}

TEST_F(ExecutorTest, ABundleThatCannotBeEnumeratedIsReportedOnce) {
  const std::string staged = request_.stagedApplicationURL.string();
  const std::string start = "Failed to release quarantine at " + staged + "; firstFailedItem=" + staged;
  disk_->cannotEnumerate = true;
  EXPECT_EQ(execute(), "replaced");
  disk_->quarantined = {"Editor.app"};
  folder_.write(attempt + "/Extracted/Editor.app/version", "new");
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(lines_, (std::vector<std::string>{start + " error=unable to enumerate staged app bundle",
                                              start + " error=EACCES (Permission denied)"}));
}

TEST_F(ExecutorTest, RemovesAStagingFolderOnlyWhenNothingVisibleIsLeft) {
  for (const bool hasVisibleFile : {false, true}) {
    folder_.write("SeamlessInstaller/tmp/Extracted/Editor.app/version", "new");
    folder_.write("SeamlessInstaller/tmp/Extracted/.hidden", "");
    if (hasVisibleFile) folder_.write("SeamlessInstaller/tmp/Extracted/notes", "");
    request_.stagedApplicationURL = folder_ / "SeamlessInstaller/tmp/Extracted/Editor.app";
    EXPECT_EQ(execute(), "replaced");
    EXPECT_EQ(fs::exists(folder_ / "SeamlessInstaller/tmp/Extracted"), hasVisibleFile);
    EXPECT_TRUE(fs::exists(folder_ / "SeamlessInstaller/tmp"));
  }
}

TEST_F(ExecutorTest, StagingOnAnotherVolumeIsCopiedFirstAndThenTakenAway) {
  disk_->otherVolume = folder_ / "SeamlessInstaller";
  const std::string incoming = "Apps/.Editor.app.orvo-update-incoming-00000000-0000-4000-8000-000000000002";
  const std::string staged = attempt + "/Extracted/Editor.app";
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(disk_->steps, (std::vector<std::string>{
                              "copy " + staged + " -> " + incoming, "move Apps/Editor.app -> " + backup,
                              "move " + incoming + " -> Apps/Editor.app", "remove " + staged,
                              "remove " + backup, "remove " + attempt}));
  EXPECT_EQ(installed(), "new");
  EXPECT_EQ(names("Apps"), std::vector<std::string>{"Editor.app"});
}

TEST_F(ExecutorTest, AFailureAfterTheCopyRemovesTheCopy) {
  disk_->otherVolume = folder_ / "SeamlessInstaller";
  disk_->failingMoves = {2};
  EXPECT_EQ(execute(), "replacementFailed");
  EXPECT_EQ(installed(), "old");
  EXPECT_EQ(names("Apps"), std::vector<std::string>{"Editor.app"});
  EXPECT_TRUE(fs::exists(request_.stagedApplicationURL));
}

}  // namespace
}  // namespace pellam

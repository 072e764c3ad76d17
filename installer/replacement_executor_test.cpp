#include "installer/replacement_executor.h"

#include <gtest/gtest.h>

#include <set>
#include <system_error>

#include "installer/interrupted_replacement_recovery.h"
#include "installer/replacement_run.h"
#include "pellam/installer_error.h"
#include "tests/support/forwarding_file_system.h"
#include "tests/support/replacement_fakes.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;
using Error = OrvoUpdateInstallerError;

// The disk, with a record of what changes names and with renames, marks and volumes that can be scripted.
class ScriptedDisk final : public ForwardingFileSystem {
 public:
  void renameItem(const Path& source, const Path& destination) override {
    record("rename", source, destination);
    if (failingChanges.contains(++changes))
      throw std::system_error(error, std::generic_category(), "scripted");
    if (!otherVolume.empty() && source.string().starts_with(otherVolume.string()))
      throw std::system_error(EXDEV, std::generic_category(), "scripted");
    ForwardingFileSystem::renameItem(source, destination);
    if (failingAfterwards == changes) throw std::system_error(error, std::generic_category(), "scripted");
  }
  bool exchangeItems(const Path& first, const Path& second) override {
    if (!canExchange) return false;
    record("exchange", first, second);
    if (failingChanges.contains(++changes))
      throw std::system_error(error, std::generic_category(), "scripted");
    const bool isExchanged = ForwardingFileSystem::exchangeItems(first, second);
    if (failingAfterwards == changes) throw std::system_error(error, std::generic_category(), "scripted");
    return isExchanged;
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
  Path root;
  Path otherVolume;
  bool canExchange = true;
  std::set<int> failingChanges;  // renames and exchanges, counted from 1
  int failingAfterwards = 0;     // a rename that is carried out and yet reported as failed
  std::set<std::string> quarantined;
  bool cannotEnumerate = false;
  std::vector<std::string> steps;
  std::vector<std::string> released;
  int error = EIO;
  int changes = 0;

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
const std::string installed = "Apps/Editor.app";
const std::string staged = attempt + "/Extracted/Editor.app";
const std::string backup = installed + ".orvo-update-backup-00000000-0000-4000-8000-000000000001";
const std::string incoming = "Apps/.Editor.app.orvo-update-new-00000000-0000-4000-8000-000000000002";
using Steps = std::vector<std::string>;

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
  std::string installedVersion() const { return TemporaryFolder::read(folder_ / installed / "version"); }
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

TEST_F(ExecutorTest, ExchangesNamesRelaunchesThenCleansUp) {
  relauncher_->onRelaunch = [&] { disk_->steps.push_back("relaunch"); };
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(
      disk_->steps,
      (Steps{"rename " + staged + " -> " + incoming, "exchange " + incoming + " -> " + installed,
             "rename " + incoming + " -> " + backup, "relaunch", "remove " + backup, "remove " + attempt}));
  EXPECT_EQ(installedVersion(), "new");
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
    EXPECT_EQ(installedVersion(), "old") << row.name;
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
  for (const bool canExchange : {true, false}) {
    disk_->canExchange = canExchange;
    disk_->steps.clear();
    relauncher_->relaunched.clear();
    relauncher_->answers = {false, true};
    folder_.write(staged + "/version", "new");
    EXPECT_EQ(execute(), "relaunchFailed");
    // Nothing is removed while it could still be needed.
    const Steps restore = canExchange ? Steps{"exchange " + backup + " -> " + installed,
                                              "rename " + backup + " -> " + incoming, "remove " + incoming}
                                      : Steps{"rename " + installed + " -> " + incoming,
                                              "rename " + backup + " -> " + installed, "remove " + incoming};
    EXPECT_EQ(Steps(disk_->steps.begin() + 3, disk_->steps.end()), restore);
    EXPECT_EQ(relauncher_->relaunched.size(), 2U);
    EXPECT_EQ(failureSeenBeforeRelaunches_, 1U);
    EXPECT_EQ(installedVersion(), "old");
    EXPECT_EQ(names("Apps"), Steps{"Editor.app"});
    EXPECT_TRUE(names(attempt + "/Extracted").empty());
  }
}

TEST_F(ExecutorTest, WithoutExchangeNothingLiesBetweenTwoRenames) {
  disk_->canExchange = false;
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(disk_->steps,
            (Steps{"rename " + staged + " -> " + incoming, "rename " + installed + " -> " + backup,
                   "rename " + incoming + " -> " + installed, "remove " + backup, "remove " + attempt}));
  EXPECT_EQ(installedVersion(), "new");
}

// Every rename and exchange of a replacement and of the restores after it: failing once, failing from there
// on (as on a disk that dies), and done but reported as failed.
TEST_F(ExecutorTest, WhateverFailsAWholeApplicationIsInstalledAndStartedAndNothingElseIsLeft) {
  for (const bool canExchange : {true, false}) {
    for (const bool isRefused : {false, true}) {
      for (const char* kind : {"once", "from there on", "afterwards"}) {
        for (int failing = 1; failing <= 7; ++failing) {
          const std::string where = std::string(canExchange ? "exchange" : "renames") +
                                    (isRefused ? ", refused, " : ", ") + kind + " " + std::to_string(failing);
          fs::remove_all(folder_ / "Apps");
          folder_.write(installed + "/version", "old");
          folder_.write(staged + "/version", "new");
          disk_ = std::make_shared<ScriptedDisk>();
          disk_->root = folder_.path();
          disk_->canExchange = canExchange;
          relauncher_->relaunched.clear();
          relauncher_->answers = {!isRefused, true};
          if (kind == std::string("afterwards")) disk_->failingAfterwards = failing;
          if (kind == std::string("once")) disk_->failingChanges = {failing};
          if (kind == std::string("from there on")) {
            for (int change = failing; change < 40; ++change) disk_->failingChanges.insert(change);
          }
          const std::string result = execute();
          // Between two renames a disk that dies leaves only what the next helper heals.
          const bool isCutOff = !canExchange && installedVersion().empty();
          EXPECT_TRUE(!isCutOff || kind == std::string("from there on")) << where;
          if (isCutOff) {
            EXPECT_TRUE(recoverInterruptedReplacement(*makeSystemFileSystem(), folder_ / installed, {}));
          }
          EXPECT_TRUE(installedVersion() == "old" || installedVersion() == "new") << where;
          EXPECT_EQ(result == "replaced", !isRefused && disk_->changes < failing) << where;
          EXPECT_TRUE(isCutOff || !relauncher_->relaunched.empty()) << where;
          // On a disk that refuses everything a name stays as it is; else only the bundle has one.
          if (kind != std::string("from there on")) {
            EXPECT_EQ(installedVersion(), result == "replaced" ? "new" : "old") << where;
            EXPECT_EQ(names("Apps").size(), 1U) << where << ": " << names("Apps").back();
          }
          if (result == "replacementFailed" && kind != std::string("from there on")) {
            EXPECT_EQ(TemporaryFolder::read(folder_ / staged / "version"), "new") << where;
          }
        }
      }
    }
  }
}

TEST_F(ExecutorTest, AnExceptionOutOfTheRelauncherIsARefusal) {
  const struct {
    std::function<void()> refusal;
    const char* error;
  } cases[] = {
      {[] { throw std::runtime_error("no bus"); }, "replacementFailed"},
      {[] { throw Error(Error::Case::launchFailed); }, "launchFailed"},
  };
  for (const auto& row : cases) {
    folder_.write(staged + "/version", "new");
    relauncher_->onRelaunch = row.refusal;
    EXPECT_EQ(execute(), row.error);
    EXPECT_EQ(installedVersion(), "old");
    EXPECT_EQ(names("Apps"), Steps{"Editor.app"});
  }
}

TEST_F(ExecutorTest, ANameThatCannotHaveABackupIsRefusedBeforeAnythingMoves) {
  const std::string name = std::string(255 - 4 - 56 + 1, 'n') + ".app";
  folder_.write("Apps/" + name + "/version", "old");
  request_.installedApplicationURL = folder_ / "Apps" / name;
  EXPECT_EQ(execute(), "replacementFailed");
  EXPECT_TRUE(disk_->steps.empty());
  EXPECT_EQ(TemporaryFolder::read(folder_ / "Apps" / name / "version"), "old");
  // One character less, and every name that is needed can be had.
  const std::string shorter = name.substr(1);
  fs::rename(folder_ / "Apps" / name, folder_ / "Apps" / shorter);
  request_.installedApplicationURL = folder_ / "Apps" / shorter;
  EXPECT_EQ(execute(), "replaced");
}

TEST_F(ExecutorTest, TheCauseTravelsWithTheError) {
  disk_->failingChanges = {2};
  disk_->error = EXDEV;
  OrvoAppBundleReplacementExecutor executor({.fileSystem = disk_,
                                             .relauncher = relauncher_,
                                             .permissionChecker = permission_,
                                             .privilegeChecker = privilege_,
                                             .identifiers = std::make_shared<CountingIdentifiers>()});
  try {
    (void)executor.executeReplacement(request_);
    FAIL() << "the exchange fails";
  } catch (const Error& error) {
    EXPECT_EQ(failureDescription(error, std::nullopt),
              "replacementFailed: the application cannot be renamed where it lies, as in a lower layer of an "
              "overlay: " +
                  request_.installedApplicationURL.string() + ": Invalid cross-device link");
  }
  EXPECT_EQ(installedVersion(), "old");
}

TEST_F(ExecutorTest, OneLineNamesTheFirstItemThatStaysQuarantined) {
  folder_.write(attempt + "/Extracted/Editor.app/a", "");
  folder_.write(attempt + "/Extracted/Editor.app/b/c", "");
  const std::string bundle = request_.stagedApplicationURL.string();
  const std::string start = "Failed to release quarantine at " + bundle + "; firstFailedItem=" + bundle;
  disk_->quarantined = {"c", "version"};
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(lines_, std::vector<std::string>{start + "/b/c error=EACCES (Permission denied)"});
  EXPECT_EQ(disk_->released, (std::vector<std::string>{"Editor.app", "a", "b", "c", "version"}));
}

TEST_F(ExecutorTest, ABundleThatCannotBeEnumeratedIsReportedOnce) {
  const std::string bundle = request_.stagedApplicationURL.string();
  const std::string start = "Failed to release quarantine at " + bundle + "; firstFailedItem=" + bundle;
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

// Until the new version has been started the staged one stays where it is.
TEST_F(ExecutorTest, StagingOnAnotherVolumeIsCopiedFirstAndTakenAwayLast) {
  disk_->otherVolume = folder_ / "SeamlessInstaller";
  relauncher_->onRelaunch = [&] { disk_->steps.push_back("relaunch"); };
  EXPECT_EQ(execute(), "replaced");
  EXPECT_EQ(disk_->steps,
            (Steps{"rename " + staged + " -> " + incoming, "copy " + staged + " -> " + incoming,
                   "exchange " + incoming + " -> " + installed, "rename " + incoming + " -> " + backup,
                   "relaunch", "remove " + backup, "remove " + staged, "remove " + attempt}));
  EXPECT_EQ(installedVersion(), "new");
  EXPECT_EQ(names("Apps"), Steps{"Editor.app"});
}

TEST_F(ExecutorTest, AFailureAfterTheCopyRemovesTheCopy) {
  disk_->otherVolume = folder_ / "SeamlessInstaller";
  disk_->failingChanges = {2};
  EXPECT_EQ(execute(), "replacementFailed");
  EXPECT_EQ(installedVersion(), "old");
  EXPECT_EQ(names("Apps"), Steps{"Editor.app"});
  EXPECT_TRUE(fs::exists(request_.stagedApplicationURL));
}

}  // namespace
}  // namespace pellam

#include "installer/leftover_collector.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/fake_clock.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using testing_support::FixedClock;
using testing_support::TemporaryFolder;
using Backups = LeftoverCollector::Backups;

const std::string uuid = "0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
const std::string digits = "0123456789abcdef";

class CollectorTest : public testing::Test {
 protected:
  // What stays of these names, each a folder with a file, after a collection at a time when they are `age`
  // old.
  std::set<std::string> kept(const std::set<std::string>& names, std::chrono::minutes age,
                             const std::function<int(const LeftoverCollector&)>& collect) {
    fs::remove_all(folder_ / "here");
    fs::create_directories(folder_ / "here");
    Date newest = distantPast;
    for (const std::string& name : names) {
      folder_.write(fs::path("here") / name / "file", "x");
      newest = std::max(newest, *files_->attributes(folder_ / "here" / name).modificationDate);
    }
    const auto clock = std::make_shared<FixedClock>();
    clock->date = newest + age;
    const int removed = collect(LeftoverCollector({.fileSystem = files_, .clock = clock}));
    std::set<std::string> left;
    for (const auto& entry : fs::directory_iterator(folder_ / "here")) left.insert(entry.path().filename());
    EXPECT_EQ(static_cast<std::size_t>(removed), names.size() - left.size());
    return left;
  }

  TemporaryFolder folder_;
  std::shared_ptr<FileSystem> files_ = makeSystemFileSystem();
};

using Names = std::set<std::string>;

TEST_F(CollectorTest, KnowsOurNamesBesideAnApplicationAndNoOthers) {
  const std::string backup = "Editor.app.orvo-update-backup-" + uuid;
  const std::string incoming = ".Editor.app.orvo-update-new-" + uuid;
  const std::string probe = "orvo-update-write-" + uuid + ".tmp";
  const Names atOnce = {incoming, "." + backup + ".removed-" + digits, "." + incoming + ".removed-" + uuid,
                        ".Editor.app.removed-" + digits};
  const Names old = {probe, "." + probe + ".partial-" + digits, "." + incoming + ".partial-" + digits};
  const Names foreign = {"Editor.app",
                         "Other.app",
                         "Other.app.orvo-update-backup-" + uuid,
                         "Editor.app.orvo-update-backup-old",
                         "Editor.app.orvo-update-backup-" + uuid + "x",
                         "..Other.app.orvo-update-new-" + uuid + ".removed-" + digits,
                         ".Editor.app.removed-",
                         ".Editor.app.partial-" + uuid + "0",
                         ".notes.removed-" + digits,
                         "orvo-update-write-.tmp"};
  Names all = foreign;
  for (const Names& some : {atOnce, old, Names{backup}}) all.insert(some.begin(), some.end());
  const auto beside = [&](Backups backups) {
    return [&, backups](const LeftoverCollector& collector) {
      return collector.collectBeside(folder_ / "here/Editor.app/", backups);
    };
  };
  EXPECT_EQ(kept(all, std::chrono::minutes(11), beside(Backups::removed)), foreign);
  Names young = foreign;
  young.insert(old.begin(), old.end());
  young.insert(backup);
  EXPECT_EQ(kept(all, std::chrono::minutes(9), beside(Backups::kept)), young);
  // With nothing installed what could take its place stays.
  all.erase("Editor.app");
  Names needed = foreign;
  needed.erase("Editor.app");
  needed.insert({backup, incoming});
  EXPECT_EQ(kept(all, std::chrono::minutes(11), beside(Backups::removed)), needed);
}

TEST_F(CollectorTest, KnowsTheNamesThatAreCutAtTheirEnd) {
  const std::string application = std::string(190, 'n') + ".app";
  const std::string hidden = "." + std::string(180, 'n') + ".removed-" + digits;
  const std::string other = "." + std::string(179, 'n') + "x.removed-" + digits;
  EXPECT_EQ(kept({hidden, other, application}, std::chrono::minutes(0),
                 [&](const LeftoverCollector& collector) {
                   return collector.collectBeside(folder_ / "here" / application, Backups::removed);
                 }),
            (Names{application, other}));
}

TEST_F(CollectorTest, CollectsInTheFoldersOfAttemptsReportsAndProbes) {
  const std::string report = "PellamUpdateInstallerFailure.plist";
  const Names attempts = {uuid, "." + uuid + ".partial-" + digits, "notes", ".x.removed-" + digits};
  Names all = attempts;
  all.insert("." + uuid + ".removed-" + digits);
  EXPECT_EQ(
      kept(all, std::chrono::minutes(0),
           [&](const LeftoverCollector& collector) { return collector.collectAttempts(folder_ / "here"); }),
      attempts);
  const Names reports = {report, "PellamUpdateInstallerFailure-A.plist", ".x.plist.partial-" + digits};
  all = reports;
  all.insert(
      {"." + report + ".partial-" + digits, ".PellamUpdateInstallerFailure-A.plist.partial-" + digits});
  const auto collectReports = [&](const LeftoverCollector& collector) {
    return collector.collectReports(folder_ / "here" / report);
  };
  EXPECT_EQ(kept(all, std::chrono::minutes(10), collectReports), reports);
  EXPECT_EQ(kept(all, std::chrono::minutes(9), collectReports), all);
  const std::string probe = "OrvoAppBundleOwnershipMatcher-" + uuid;
  EXPECT_EQ(kept({probe, "." + probe + ".removed-" + digits, "OrvoAppBundleOwnershipMatcher-1"},
                 std::chrono::minutes(10),
                 [&](const LeftoverCollector& collector) {
                   return collector.collectTemporary(folder_ / "here",
                                                     *files_->attributes(folder_.path()).ownerID);
                 }),
            (Names{"OrvoAppBundleOwnershipMatcher-1"}));
}

TEST_F(CollectorTest, LeavesWhatBelongsToOthersAndFoldersInWhichSomebodyWorks) {
  const std::uint32_t owner = *files_->attributes(folder_.path()).ownerID;
  const Names probes = {"OrvoAppBundleOwnershipMatcher-" + uuid};
  EXPECT_EQ(kept(probes, std::chrono::minutes(11),
                 [&](const LeftoverCollector& collector) {
                   return collector.collectTemporary(folder_ / "here", owner + 1);
                 }),
            probes);
  const Names beside = {"Editor.app", "Editor.app.orvo-update-backup-" + uuid};
  const auto atStart = [&](const LeftoverCollector& collector) {
    return collector.collectAtStart(folder_ / "here/Editor.app", owner);
  };
  EXPECT_EQ(kept(beside, std::chrono::minutes(0),
                 [&](const LeftoverCollector& collector) {
                   const auto helper = files_->lockFolder(folder_ / "here", FolderUse::shared);
                   return atStart(collector);
                 }),
            beside);
  EXPECT_EQ(kept(beside, std::chrono::minutes(0), atStart), Names{"Editor.app"});
}

}  // namespace
}  // namespace pellam

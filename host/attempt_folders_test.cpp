#include "host/attempt_folders.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "foundation/uuid.h"
#include "pellam/installer_error.h"
#include "tests/support/coordinator_fakes.h"
#include "tests/support/fake_identifiers.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;
using namespace std::chrono_literals;
using Case = OrvoUpdateInstallerError::Case;
using Sharing = AttemptFolders::Sharing;

constexpr std::uint32_t somebodyElse = 65534;

class AttemptFoldersTest : public testing::Test {
 protected:
  ArchivePlacement place(Sharing sharing = Sharing::ownFolder, const std::string& name = "Editor.zip") {
    const std::string text = "archive";
    return folders_.place({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, name, "Editor",
                          "SeamlessInstaller", sharing);
  }
  std::optional<Case> failureOf(const std::function<void()>& work) {
    try {
      work();
    } catch (const OrvoUpdateInstallerError& error) {
      return error.errorCase();
    }
    return std::nullopt;
  }
  // Where it was placed below the test's folder, or the failure.
  std::string placed(Sharing sharing = Sharing::sharedFolder) {
    try {
      return place(sharing).destinationFolderURL.lexically_relative(folder_.path()).string();
    } catch (const OrvoUpdateInstallerError& error) {
      EXPECT_EQ(error.errorCase(), Case::writeFailed);
      return "nowhere";
    }
  }
  fs::path attempt(const fs::path& root, const std::string& name, std::chrono::seconds age) {
    fs::create_directories(folder_ / root / name);
    files_->creationDates[name] = clock_->now() - age;
    return folder_ / root / name;
  }
  int removeStale(const fs::path& running = "/Applications/Editor.app") {
    return folders_.removeStale("Editor", "SeamlessInstaller", running);
  }
  fs::path makeFolder(const fs::path& name, fs::perms mode = fs::perms(0700)) {
    fs::create_directories(folder_ / name);
    fs::permissions(folder_ / name, mode);
    return folder_ / name;
  }

  TemporaryFolder folder_;
  std::shared_ptr<RedirectedFileSystem> files_ = std::make_shared<RedirectedFileSystem>(folder_.path());
  std::shared_ptr<CountingIdentifiers> identifiers_ = std::make_shared<CountingIdentifiers>();
  std::shared_ptr<PellamClock> clock_ = std::make_shared<FixedClock>();
  std::vector<std::string> log_;
  AttemptFolders folders_{
      {files_, identifiers_, clock_, [this](const std::string& line) { log_.push_back(line); }, ::geteuid()}};
  const std::string private_ = "pellam-" + std::to_string(::geteuid());
  const std::string stale_ = "00000000-0000-4000-8000-00000000000a";
};

TEST_F(AttemptFoldersTest, EachCandidateHasAFolderOfItsOwnAndAnUnusableOneLeavesNone) {
  const ArchivePlacement first = place();
  EXPECT_EQ(first.destinationFolderURL,
            folder_ / "Support/Editor/SeamlessInstaller/00000000-0000-4000-8000-000000000001");
  EXPECT_EQ(TemporaryFolder::read(first.archiveURL), "archive");
  fs::remove_all(first.destinationFolderURL);

  files_->fullVolume = folder_ / "Support";
  const ArchivePlacement second = place();
  EXPECT_EQ(second.destinationFolderURL,
            folder_ / "Temporary/Editor/SeamlessInstaller/00000000-0000-4000-8000-000000000003")
      << "not the identifier of the folder that was given up";
  EXPECT_TRUE(fs::is_empty(folder_ / "Support/Editor/SeamlessInstaller"));
  fs::remove_all(second.destinationFolderURL);

  files_->fullVolume = folder_.path();
  EXPECT_EQ(failureOf([&] { (void)place(); }), Case::writeFailed);
  EXPECT_TRUE(fs::is_empty(folder_ / "Support/Editor/SeamlessInstaller"));
  EXPECT_TRUE(fs::is_empty(folder_ / "Temporary/Editor/SeamlessInstaller"));
  files_->fullVolume.clear();
  for (const std::string name : {"", "..", "../x.zip", "a/b.zip"}) {
    EXPECT_EQ(failureOf([&] { (void)place(Sharing::ownFolder, name); }), Case::writeFailed) << name;
  }
}

TEST_F(AttemptFoldersTest, AnArchiveReplacesTheOneOfItsNameInTheSharedFolder) {
  folder_.write("Support/Editor/SeamlessInstaller/Editor.zip/inside", "an earlier archive's folder");
  folder_.write("Support/Editor/SeamlessInstaller/kept", "");
  EXPECT_EQ(place(Sharing::sharedFolder).archiveURL, folder_ / "Support/Editor/SeamlessInstaller/Editor.zip");
  EXPECT_TRUE(fs::exists(folder_ / "Support/Editor/SeamlessInstaller/kept"));
}

// What a folder for temporary files may be like, and where attempts go then.
TEST_F(AttemptFoldersTest, TheTemporaryFolderIsUsedOnlyWhereNobodyElseCanInterfere) {
  const bool isRoot = ::geteuid() == 0;
  files_->fullVolume = folder_ / "Support";
  const std::string inside = "/Editor/SeamlessInstaller";
  const auto use = [&](const std::string& name) { files_->temporaryName = name; };

  use("missing/below");
  EXPECT_EQ(placed(), "missing/below" + inside);
  EXPECT_EQ(fs::status(folder_ / "missing/below").permissions(), fs::perms(0700));
  use(makeFolder("own").filename());
  EXPECT_EQ(placed(), "own" + inside);
  use(std::string(makeFolder("slash").filename()) + "/");
  EXPECT_EQ(placed(), "slash" + inside);
  for (const unsigned mode : {0755U, 01777U}) {
    use(makeFolder("open" + std::to_string(mode), fs::perms(mode)).filename());
    EXPECT_EQ(placed(), files_->temporaryName + "/" + private_ + inside) << mode;
    EXPECT_EQ(fs::status(files_->temporaryDirectory() / private_).permissions(), fs::perms(0700));
    EXPECT_EQ(placed(), files_->temporaryName + "/" + private_ + inside) << "and once more";
  }
  fs::create_directory_symlink("own", folder_ / "link");
  use("link");
  EXPECT_EQ(placed(), "own" + inside) << "a link of the user's own";

  // Names that were there first.
  makeFolder("elsewhere");
  makeFolder("taken", fs::perms(01777));
  fs::create_directory_symlink(folder_ / "elsewhere", folder_ / "taken" / private_);
  use("taken");
  EXPECT_EQ(placed(), "nowhere") << "a link for the private folder";
  makeFolder("entered", fs::perms(01777));
  makeFolder("entered/" + private_, fs::perms(0755));
  use("entered");
  EXPECT_EQ(placed(), "nowhere") << "a private folder that others can enter";
  makeFolder("linked");
  fs::create_directory_symlink(folder_ / "elsewhere", folder_ / "linked/Editor");
  use("linked");
  EXPECT_EQ(placed(), "nowhere") << "a link for the application's folder";
  makeFolder("deeper/Editor");
  fs::permissions(folder_ / "deeper", fs::perms(0700));
  fs::create_directory_symlink(folder_ / "elsewhere", folder_ / "deeper/Editor/SeamlessInstaller");
  use("deeper");
  EXPECT_EQ(placed(), "nowhere") << "a link for the installer's folder";
  EXPECT_TRUE(fs::is_empty(folder_ / "elsewhere"));

  if (!isRoot) GTEST_SKIP() << "giving folders away needs root; all before this was checked";
  const auto give = [&](const std::string& name) { files_->changeOwner(folder_ / name, somebodyElse, 0); };
  makeFolder("theirs");
  give("theirs");
  use("theirs");
  EXPECT_EQ(placed(), "nowhere") << "whose folder it is can rename in it";
  fs::create_directory_symlink(folder_ / "own", folder_ / "theirLink");
  give("theirLink");
  use("theirLink");
  EXPECT_EQ(placed(), "nowhere") << "a link that can lead elsewhere tomorrow";
  makeFolder("shared", fs::perms(01777));
  makeFolder("shared/" + private_);
  give("shared/" + private_);
  use("shared");
  EXPECT_EQ(placed(), "nowhere");
  makeFolder("subfolder/Editor");
  fs::permissions(folder_ / "subfolder", fs::perms(0700));
  give("subfolder/Editor");
  use("subfolder");
  EXPECT_EQ(placed(), "nowhere");
}

TEST_F(AttemptFoldersTest, WithoutApplicationSupportTheTemporaryFolderIsAllThereIs) {
  files_->hasSupport = false;
  files_->temporaryName = makeFolder("shared", fs::perms(01777)).filename();
  EXPECT_EQ(placed(), "shared/" + private_ + "/Editor/SeamlessInstaller");
}

TEST_F(AttemptFoldersTest, FindsTheOneBundleOfAnArchive) {
  struct Row {
    std::vector<std::string> folders;
    std::string found;
    std::optional<Case> error;
  };
  const std::vector<Row> rows = {
      {{"sub/folder/Editor.app", ".Hidden.app"}, "sub/folder/Editor.app", std::nullopt},
      {{"Editor.APP/Contents/Helper.app"}, "Editor.APP", std::nullopt},
      {{"Editor.app", "Other.APP"}, "", Case::multipleAppBundlesFound},
      {{"Editor.apple", "app"}, "", Case::noAppBundleFound},
      {{".hidden/Editor.app"}, "", Case::noAppBundleFound},
      {{}, "", Case::invalidArchive},
  };
  for (std::size_t number = 0; number < rows.size(); ++number) {
    const Row& row = rows[number];
    const fs::path root = folder_ / std::to_string(number);
    for (const std::string& name : row.folders) fs::create_directories(root / name);
    fs::path found;
    EXPECT_EQ(failureOf([&] { found = folders_.findSingleAppBundle(root); }), row.error) << number;
    EXPECT_EQ(found, row.error ? fs::path() : root / row.found);
  }
}

TEST_F(AttemptFoldersTest, RemovesOnlyStaleAttempts) {
  const fs::path root = "Support/Editor/SeamlessInstaller";
  const fs::path fresh = attempt(root, "00000000-0000-4000-8000-000000000001", 599s);
  const fs::path stale = attempt(root, stale_, 600s);
  const fs::path running = attempt(root, "00000000-0000-4000-8000-000000000003", 99h);
  const fs::path named = attempt(root, "keep", 99h);
  const fs::path hidden = attempt(root, "." + stale_, 99h);
  const fs::path file = folder_.write(root / "00000000-0000-4000-8000-000000000005", "");
  files_->creationDates[file.filename()] = clock_->now() - 99h;
  const fs::path link = folder_ / root / "00000000-0000-4000-8000-000000000006";
  fs::create_directory_symlink(named, link);
  files_->creationDates[link.filename()] = clock_->now() - 99h;
  fs::create_directories(running / "Editor.app");

  EXPECT_EQ(removeStale(running / "Editor.app"), 1);
  EXPECT_FALSE(fs::exists(stale));
  for (const fs::path& kept : {fresh, running, named, hidden, file, link}) {
    EXPECT_TRUE(fs::exists(kept)) << kept;
  }
  EXPECT_EQ(log_,
            std::vector{"Removed 1 stale installer attempt folders from " + (folder_ / root).string() + "."});
}

TEST_F(AttemptFoldersTest, CountsWhatIsRemovedFromBothPlaces) {
  makeFolder("Temporary", fs::perms(01777));
  makeFolder(fs::path("Temporary") / private_);
  attempt("Support/Editor/SeamlessInstaller", stale_, 1h);
  attempt(fs::path("Temporary") / private_ / "Editor/SeamlessInstaller",
          "00000000-0000-4000-8000-00000000000b", 1h);
  EXPECT_EQ(removeStale(), 2);
  EXPECT_EQ(log_.size(), 2U);
  files_->unremovable = attempt("Support/Editor/SeamlessInstaller", stale_, 1h);
  EXPECT_EQ(removeStale(), 0);
}

// Somebody else's link or folder anywhere on the way to the attempts: nothing behind it is touched.
TEST_F(AttemptFoldersTest, RemovesNothingBehindLinksOrInFoldersOfOthers) {
  const std::vector<std::string> places = {"Support", "Temporary", "Temporary/" + private_};
  const std::vector<std::string> links = {"/Editor", "/Editor/SeamlessInstaller"};
  for (const std::string& place : places) {
    for (const std::string& link : links) {
      SCOPED_TRACE(place + link);
      makeFolder("Temporary", fs::perms(place == "Temporary" ? 0700 : 01777));
      const fs::path victim = attempt("victim/SeamlessInstaller", stale_, 99h);
      makeFolder(place, fs::perms(0700));
      fs::create_directories((folder_ / (place + link)).parent_path());
      fs::create_directory_symlink(
          link == "/Editor" ? victim.parent_path().parent_path() : victim.parent_path(),
          folder_ / (place + link));
      EXPECT_EQ(removeStale(), 0);
      EXPECT_TRUE(fs::exists(victim));
      for (const std::string top : {"Support", "Temporary"}) fs::remove_all(folder_ / top);
    }
  }
  // The link is in the place of the private folder itself, and nobody's but root's to follow.
  makeFolder("Temporary", fs::perms(01777));
  const fs::path victim = attempt("victim/Editor/SeamlessInstaller", stale_, 99h);
  fs::create_directory_symlink(folder_ / "victim", folder_ / "Temporary" / private_);
  EXPECT_EQ(removeStale(), 0);
  EXPECT_TRUE(fs::exists(victim));
  fs::remove_all(folder_ / "Temporary");

  if (::geteuid() != 0) GTEST_SKIP() << "giving folders away needs root; the links were checked";
  for (const std::string& place : places) {
    for (const std::string& theirs : {std::string("/Editor"), std::string("/Editor/SeamlessInstaller")}) {
      SCOPED_TRACE(place + theirs);
      makeFolder("Temporary", fs::perms(place == "Temporary" ? 0700 : 01777));
      makeFolder(place, fs::perms(place == "Temporary/" + private_ || place == "Temporary" ? 0700 : 0755));
      const fs::path kept = attempt(place + "/Editor/SeamlessInstaller", stale_, 99h);
      files_->changeOwner(folder_ / (place + theirs), somebodyElse, 0);
      EXPECT_EQ(removeStale(), 0);
      EXPECT_TRUE(fs::exists(kept));
      files_->changeOwner(folder_ / (place + theirs), ::geteuid(), 0);
      EXPECT_EQ(removeStale(), 1) << "the row's only fault was the owner";
      for (const std::string top : {"Support", "Temporary"}) fs::remove_all(folder_ / top);
    }
  }
}

}  // namespace
}  // namespace pellam

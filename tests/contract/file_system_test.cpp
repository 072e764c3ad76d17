#include "platform/file_system.h"
#include "tests/support/file_system_fixture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <system_error>

namespace pellam {
namespace {

namespace fs = std::filesystem;

// A fresh folder on the volume for temporary files.
class FileSystemContractTest : public testing_support::FileSystemFixture {};

TEST_F(FileSystemContractTest, RemovesTreesWithoutEverLeavingThroughALink) {
  write(root_ / "outside" / "kept", "x");
  write(root_ / "tree" / "inside" / "file", "x");
  fs::create_directory_symlink(root_ / "outside", root_ / "tree" / "inside" / "link");
  fs::create_symlink("nowhere", root_ / "tree" / "dangling");
  files_->removeItem(root_ / "tree");
  EXPECT_EQ(namesIn(root_), std::vector<std::string>{"outside"});
  EXPECT_TRUE(fs::exists(root_ / "outside" / "kept"));

  fs::create_directory_symlink(root_ / "outside", root_ / "link");
  files_->removeItem(root_ / "link");
  EXPECT_TRUE(fs::exists(root_ / "outside" / "kept"));
  EXPECT_EQ(errorOf([&] { files_->removeItem(root_ / "missing"); }), ENOENT);
  EXPECT_EQ(errorOf([&] { files_->removeItem(root_ / std::string("outside\0x", 9)); }), EINVAL);
}

TEST_F(FileSystemContractTest, ARemovalThatCannotBeginTouchesNothing) {
  if (::geteuid() != 0) GTEST_SKIP() << "becoming another user needs root";
  write(root_ / "sticky" / "App" / "file", "x");
  fs::permissions(root_, fs::perms(0755));
  fs::permissions(root_ / "sticky", fs::perms(01777));
  fs::permissions(root_ / "sticky" / "App", fs::perms(0777));
  ASSERT_EQ(::seteuid(65534), 0);
  const int error = errorOf([&] { files_->removeItem(root_ / "sticky" / "App"); });
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_EQ(error, EPERM);
  EXPECT_EQ(read(root_ / "sticky" / "App" / "file"), "x");
}

TEST_F(FileSystemContractTest, MovesOnlyToAFreeName) {
  write(root_ / "a" / "file", "a");
  write(root_ / "b", "b");
  EXPECT_EQ(errorOf([&] { files_->moveItem(root_ / "a", root_ / "b"); }), EEXIST);
  fs::create_directory(root_ / "empty");
  EXPECT_EQ(errorOf([&] { files_->moveItem(root_ / "a", root_ / "empty"); }), EEXIST);
  EXPECT_EQ(errorOf([&] { files_->moveItem(root_ / "missing", root_ / "c"); }), ENOENT);
  EXPECT_EQ(errorOf([&] { files_->moveItem(root_ / "a", root_ / "a" / "below"); }), EINVAL);
  files_->moveItem(root_ / "a", root_ / "c");
  EXPECT_EQ(namesIn(root_), (std::vector<std::string>{"b", "c", "empty"}));
}

TEST_F(FileSystemContractTest, ExchangesTwoNamesInOneStepOrChangesNothing) {
  write(root_ / "a" / "file", "a");
  write(root_ / "b" / "file", "b");
  write(root_ / "c", "c");
  fs::create_symlink("a", root_ / "link");
  if (!files_->exchangeItems(root_ / "a", root_ / "b")) {
    EXPECT_EQ(read(root_ / "a" / "file"), "a");
    GTEST_SKIP() << "this volume cannot";
  }
  EXPECT_EQ(read(root_ / "a" / "file") + read(root_ / "b" / "file"), "ba");
  // Folders' own names, with a slash behind or not; a link is exchanged, not followed.
  EXPECT_TRUE(files_->exchangeItems(root_ / "a" / "", root_ / "c"));
  EXPECT_TRUE(files_->exchangeItems(root_ / "link", root_ / "b"));
  EXPECT_EQ(read(root_ / "a") + read(root_ / "c" / "file") + read(root_ / "link" / "file"), "cba");
  EXPECT_TRUE(fs::is_symlink(root_ / "b"));
  EXPECT_EQ(errorOf([&] { (void)files_->exchangeItems(root_ / "a", root_ / "missing"); }), ENOENT);
  EXPECT_EQ(errorOf([&] { files_->renameItem(root_ / "a", root_ / "c"); }), EEXIST);
  files_->renameItem(root_ / "a", root_ / "d");
  files_->synchronizeName(root_ / "d");
  EXPECT_EQ(namesIn(root_), (std::vector<std::string>{"b", "c", "d", "link"}));
}

TEST_F(FileSystemContractTest, LocksAFolderForAsLongAsSomebodyHoldsIt) {
  auto one = files_->lockFolder(root_, FolderUse::shared);
  auto other = files_->lockFolder(root_, FolderUse::shared);
  ASSERT_TRUE(one && other);
  EXPECT_FALSE(files_->lockFolder(root_, FolderUse::alone));
  one.reset();
  other.reset();
  one = files_->lockFolder(root_, FolderUse::alone);
  EXPECT_TRUE(one);
  EXPECT_FALSE(files_->lockFolder(root_, FolderUse::shared));
  EXPECT_EQ(errorOf([&] { (void)files_->lockFolder(root_ / "none", FolderUse::alone); }), ENOENT);
}

TEST_F(FileSystemContractTest, RemovesWhatItsOwnerMayNotWrite) {
  write(root_ / "tree" / "readable" / "file", "x");
  write(root_ / "tree" / "closed" / "file", "x");
  fs::permissions(root_ / "tree" / "readable", fs::perms(0555));
  fs::permissions(root_ / "tree" / "closed", fs::perms(0));
  fs::permissions(root_ / "tree", fs::perms(0555));
  fs::permissions(root_, fs::perms(0777));
  const bool isRoot = ::geteuid() == 0;
  if (isRoot) {
    for (const char* name : {"tree", "tree/readable", "tree/closed"})
      ASSERT_EQ(::chown((root_ / name).c_str(), 65534, 65534), 0);
    ASSERT_EQ(::seteuid(65534), 0);
  }
  const int error = errorOf([&] { files_->removeItem(root_ / "tree"); });
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  EXPECT_EQ(error, 0);
  EXPECT_TRUE(fs::is_empty(root_));
}

TEST_F(FileSystemContractTest, WritesAtomicallyOrNotAtAll) {
  write(root_ / "target", "kept");
  fs::create_symlink("target", root_ / "link");
  files_->writeFileAtomically(root_ / "link", bytes("new"));
  EXPECT_FALSE(fs::is_symlink(root_ / "link"));
  EXPECT_EQ(read(root_ / "link"), "new");
  EXPECT_EQ(read(root_ / "target"), "kept");
  fs::create_directory(root_ / "folder");
  EXPECT_EQ(errorOf([&] { files_->writeFileAtomically(root_ / "folder", bytes("x")); }), EISDIR);
  EXPECT_EQ(errorOf([&] { files_->writeFileAtomically(root_ / "none" / "x", bytes("x")); }), ENOENT);
  EXPECT_EQ(namesIn(root_), (std::vector<std::string>{"folder", "link", "target"}));
}

TEST_F(FileSystemContractTest, ReadingNeverBlocksOnWhatIsNoFile) {
  ASSERT_EQ(::mkfifo((root_ / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(errorOf([&] { (void)files_->readFile(root_ / "pipe"); }), EINVAL);
  EXPECT_EQ(errorOf([&] { (void)files_->readFile(root_); }), EISDIR);
  EXPECT_EQ(errorOf([&] { (void)files_->readFile(root_ / "none"); }), ENOENT);
}

TEST_F(FileSystemContractTest, CreatesFoldersWithThoseAbove) {
  files_->createDirectory(root_ / "a" / "b" / "c");
  files_->createDirectory(root_ / "a" / "b");
  EXPECT_TRUE(fs::is_directory(root_ / "a" / "b" / "c"));
  write(root_ / "file", "x");
  EXPECT_EQ(errorOf([&] { files_->createDirectory(root_ / "file"); }), EEXIST);
  EXPECT_EQ(errorOf([&] { files_->createDirectory(root_ / "file" / "x"); }), ENOTDIR);
}

TEST_F(FileSystemContractTest, EnumeratesWithoutFollowingLinks) {
  write(root_ / "b.txt", "");
  write(root_ / "X.app" / "Contents" / "file", "");
  write(root_ / ".hidden" / "file", "");
  write(root_ / "sub" / "file", "");
  fs::create_directory_symlink(root_ / "sub", root_ / "link");
  // A folder comes before its contents; beyond that the order is the volume's.
  const auto visited = [&](EnumerationOptions options, EnumerationStep atSub) {
    std::set<std::string> names;
    files_->enumerate(root_, options, [&](const fs::path& item) {
      const fs::path parent = item.lexically_relative(root_).parent_path();
      EXPECT_TRUE(parent.empty() || names.count(parent.string()) == 1) << item;
      names.insert(item.lexically_relative(root_).string());
      return item.filename() == "sub" ? atSub : EnumerationStep::descend;
    });
    return names;
  };
  using Names = std::set<std::string>;
  EXPECT_EQ(visited({}, EnumerationStep::descend),
            (Names{".hidden", ".hidden/file", "X.app", "X.app/Contents", "X.app/Contents/file", "b.txt",
                   "link", "sub", "sub/file"}));
  EXPECT_EQ(visited({true, true}, EnumerationStep::skipDescendants),
            (Names{"X.app", "b.txt", "link", "sub"}));
  int visits = 0;
  files_->enumerate(root_, {}, [&](const fs::path&) {
    ++visits;
    return EnumerationStep::stop;
  });
  EXPECT_EQ(visits, 1);
  EXPECT_EQ(errorOf([&] { files_->enumerate(root_ / "b.txt", {}, nullptr); }), ENOTDIR);
  EXPECT_EQ(files_->contentsOfDirectory(root_, HiddenItems::skipped).size(), 4U);
  EXPECT_EQ(files_->contentsOfDirectory(root_, HiddenItems::included).size(), 5U);
}

TEST_F(FileSystemContractTest, ChangesTheOwnerOfLinksNotOfTheirTargets) {
  if (::geteuid() != 0) GTEST_SKIP() << "giving files away needs root";
  write(root_ / "file", "");
  fs::create_symlink("file", root_ / "link");
  fs::create_symlink("nowhere", root_ / "dangling");
  files_->changeOwner(root_ / "link", 1234, 2345);
  files_->changeOwner(root_ / "dangling", 1234, 2345);
  EXPECT_EQ(files_->attributes(root_ / "link").ownerID, 1234U);
  EXPECT_EQ(files_->attributes(root_ / "dangling").groupID, 2345U);
  EXPECT_EQ(files_->attributes(root_ / "file").ownerID, 0U);
}

TEST_F(FileSystemContractTest, AnswersQuestionsAboutItems) {
  write(root_ / "file", "");
  fs::create_symlink(root_, root_ / "link");
  fs::create_symlink("nowhere", root_ / "dangling");
  bool isDirectory = true;
  EXPECT_TRUE(files_->itemExists(root_ / "file", &isDirectory));
  EXPECT_FALSE(isDirectory);
  EXPECT_TRUE(files_->itemExists(root_ / "link", &isDirectory));
  EXPECT_TRUE(isDirectory);
  EXPECT_FALSE(files_->itemExists(root_ / "dangling", &isDirectory));
  EXPECT_FALSE(isDirectory);
  EXPECT_EQ(files_->attributes(root_ / "link").type, FileType::symbolicLink);
  EXPECT_FALSE(files_->isExecutableFile(root_ / "file"));
  EXPECT_FALSE(files_->isExecutableFile(root_));
  fs::permissions(root_ / "file", fs::perms(0700));
  EXPECT_TRUE(files_->isExecutableFile(root_ / "file"));
  const fs::path real = fs::canonical(root_);
  EXPECT_EQ(files_->resolvingSymlinks(root_ / "link" / "." / "x" / ".." / "new" / ""), real / "new");
  EXPECT_EQ(files_->resolvingSymlinks(root_ / "link" / "file"), real / "file");
}

TEST_F(FileSystemContractTest, TellsWhoseAnItemIsAndWhoMayChangeIt) {
  fs::create_directory(root_ / "shared");
  fs::permissions(root_ / "shared", fs::perms(01777));
  files_->createPrivateDirectory(root_ / "private");
  write(root_ / "file", "");
  fs::permissions(root_ / "file", fs::perms(06751));
  EXPECT_EQ(files_->attributes(root_ / "shared").permissions, 01777U);
  EXPECT_EQ(files_->attributes(root_ / "private").permissions, 0700U);
  EXPECT_EQ(files_->attributes(root_ / "file").permissions, 06751U);
  EXPECT_EQ(files_->attributes(root_ / "private").ownerID, ::geteuid());
}

TEST(PosixErrorName, NamesNumbers) {
  EXPECT_EQ(posixErrorName(EACCES), "EACCES");
  EXPECT_EQ(posixErrorName(EPERM), "EPERM");
  EXPECT_EQ(posixErrorName(99999), "EIO");
  EXPECT_EQ(posixErrorName(0), "EIO");
}

}  // namespace
}  // namespace pellam

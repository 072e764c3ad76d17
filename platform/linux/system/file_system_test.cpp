#include "platform/file_system.h"
#include "tests/support/file_system_fixture.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <system_error>

namespace pellam {
namespace {

namespace fs = std::filesystem;

// A folder on the build's own volume, and another one on memory-backed storage.
class FileSystemTest : public testing_support::FileSystemFixture {
 protected:
  void SetUp() override {
    FileSystemFixture::SetUp();
    if (fs::is_directory("/dev/shm")) otherVolume_ = makeFolder("/dev/shm");
  }
  void TearDown() override {
    if (!otherVolume_.empty()) fs::remove_all(otherVolume_);
    FileSystemFixture::TearDown();
  }

  fs::path otherVolume_;
};

TEST_F(FileSystemTest, RemovesATreeDeeperThanAnyPathOrDescriptorLimit) {
  const int start = ::open(".", O_RDONLY | O_DIRECTORY);
  fs::create_directory(root_ / "deep");
  ASSERT_EQ(::chdir((root_ / "deep").c_str()), 0);
  for (int level = 0; level < 3000; ++level) {
    ASSERT_EQ(::mkdir("d", 0700), 0);
    ASSERT_EQ(::chdir("d"), 0);
  }
  ASSERT_EQ(::fchdir(start), 0);
  ::close(start);
  files_->removeItem(root_ / "deep");
  EXPECT_TRUE(fs::is_empty(root_));
}

TEST_F(FileSystemTest, MovesAcrossVolumesWithEverythingThatBelongsToTheItem) {
  if (otherVolume_.empty()) GTEST_SKIP() << "there is no /dev/shm, so no second volume";
  write(root_ / "App" / "tool", "run");
  fs::permissions(root_ / "App" / "tool", fs::perms(04555));
  fs::create_symlink("tool", root_ / "App" / "link");
  fs::create_directory(root_ / "App" / "closed");
  write(root_ / "App" / "closed" / "file", "x");
  ASSERT_EQ(::mkfifo((root_ / "App" / "pipe").c_str(), 0600), 0);
  const timespec times[2] = {{1'000'000, 0}, {2'000'000, 5'000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (root_ / "App" / "tool").c_str(), times, 0), 0);
  const bool hasAttribute = ::setxattr((root_ / "App" / "tool").c_str(), "user.note", "n", 1, 0) == 0;
  if (::geteuid() == 0) {
    ASSERT_EQ(::lchown((root_ / "App" / "link").c_str(), 1234, 2345), 0);
  }
  fs::permissions(root_ / "App" / "closed", fs::perms(0555));

  const fs::path moved = otherVolume_ / "Moved";
  files_->moveItem(root_ / "App", moved);
  EXPECT_TRUE(fs::is_empty(root_));
  EXPECT_EQ(namesIn(otherVolume_), std::vector<std::string>{"Moved"});
  EXPECT_EQ(read(moved / "tool"), "run");
  EXPECT_EQ(fs::read_symlink(moved / "link"), "tool");
  EXPECT_TRUE(fs::is_fifo(moved / "pipe"));
  EXPECT_EQ(fs::status(moved / "closed").permissions(), fs::perms(0555));
  struct stat status {};
  ASSERT_EQ(::lstat((moved / "tool").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 04555U);
  EXPECT_EQ(status.st_mtim.tv_sec, 2'000'000);
  EXPECT_EQ(status.st_mtim.tv_nsec, 5'000);
  if (::geteuid() == 0) {
    ASSERT_EQ(::lstat((moved / "link").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234U);
    EXPECT_EQ(status.st_gid, 2345U);
  }
  char note = 0;
  if (hasAttribute && ::getxattr((moved / "tool").c_str(), "user.note", &note, 1) == 1) {
    EXPECT_EQ(note, 'n');
  }
  fs::permissions(moved / "closed", fs::perms(0755));
}

TEST_F(FileSystemTest, ACopyKeepsAGroupThatItsMakerMayGiveAlsoWhereNobodyMayLook) {
  if (::geteuid() != 0) GTEST_SKIP() << "becoming another user needs root";
  constexpr gid_t common = 4711;
  write(root_ / "App" / "file", "x");
  write(root_ / "drop" / "other", "x");
  fs::permissions(root_, fs::perms(0755));
  for (const char* name : {"App", "App/file"}) ASSERT_EQ(::chown((root_ / name).c_str(), 65534, common), 0);
  ASSERT_EQ(::chown((root_ / "drop").c_str(), 65534, 65534), 0);
  fs::permissions(root_ / "drop", fs::perms(0333));
  std::vector<gid_t> previous(static_cast<std::size_t>(::getgroups(0, nullptr)));
  ASSERT_GE(::getgroups(static_cast<int>(previous.size()), previous.data()), 0);
  ASSERT_EQ(::setgroups(1, &common), 0);
  ASSERT_EQ(::setegid(65534), 0);
  ASSERT_EQ(::seteuid(65534), 0);
  const int error = errorOf([&] {
    files_->copyItem(root_ / "App", root_ / "drop" / "App");
    files_->renameItem(root_ / "drop" / "App", root_ / "drop" / "Moved");
    files_->synchronizeName(root_ / "drop" / "Moved");
  });
  ASSERT_TRUE(::seteuid(0) == 0 && ::setegid(0) == 0);
  ASSERT_EQ(::setgroups(previous.size(), previous.data()), 0);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(files_->attributes(root_ / "drop" / "Moved").groupID, common);
  EXPECT_EQ(files_->attributes(root_ / "drop" / "Moved" / "file").groupID, common);
}

TEST_F(FileSystemTest, AFailedMoveAcrossVolumesLeavesTheSourceWholeAndNothingElse) {
  if (otherVolume_.empty()) GTEST_SKIP() << "there is no /dev/shm, so no second volume";
  write(root_ / "App" / "file", "x");
  write(otherVolume_ / "Taken", "y");
  EXPECT_EQ(errorOf([&] { files_->moveItem(root_ / "App", otherVolume_ / "Taken"); }), EEXIST);
  // Deeper than a copy follows: it fails in the middle of its work.
  fs::path deep = root_ / "App";
  for (int level = 0; level < 300; ++level) deep /= "d";
  fs::create_directories(deep);
  EXPECT_EQ(errorOf([&] { files_->moveItem(root_ / "App", otherVolume_ / "New"); }), ENAMETOOLONG);
  EXPECT_EQ(namesIn(otherVolume_), std::vector<std::string>{"Taken"});
  EXPECT_EQ(read(root_ / "App" / "file"), "x");
  EXPECT_TRUE(fs::exists(deep));
}

TEST_F(FileSystemTest, ReleasesTheQuarantineMarkOfTheItemItself) {
  write(root_ / "file", "");
  fs::create_symlink("file", root_ / "link");
  EXPECT_EQ(files_->removeQuarantineAttribute(root_ / "file"), 0);
  EXPECT_EQ(files_->removeQuarantineAttribute(root_ / "missing"), ENOENT);
  EXPECT_EQ(files_->removeQuarantineAttribute(root_ / std::string("a\0b", 3)), EINVAL);
  const std::string path = root_ / "file";
  if (::setxattr(path.c_str(), "user.com.apple.quarantine", "q", 1, 0) != 0) {
    GTEST_SKIP() << "this volume keeps no user attributes";
  }
  EXPECT_EQ(files_->removeQuarantineAttribute(root_ / "link"), 0);
  char value = 0;
  EXPECT_EQ(::getxattr(path.c_str(), "user.com.apple.quarantine", &value, 1), 1);
  EXPECT_EQ(files_->removeQuarantineAttribute(root_ / "file"), 0);
  EXPECT_EQ(::getxattr(path.c_str(), "user.com.apple.quarantine", &value, 1), -1);
}

// Volumes in memory keep any time that somebody sets.
TEST_F(FileSystemTest, TimesBeyondAllDatesAreTheLastOnes) {
  if (otherVolume_.empty()) GTEST_SKIP() << "no volume in memory";
  const fs::path file = otherVolume_ / "file";
  std::ofstream(file) << "x";
  for (const auto& [seconds, expected] : {std::pair{INT64_MAX, Date::max()},
                                          {INT64_MIN, Date::min()},
                                          {std::int64_t{5}, Date(std::chrono::seconds(5))}}) {
    const struct timespec times[] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    EXPECT_EQ(files_->attributes(file).modificationDate, expected) << seconds;
  }
}

}  // namespace
}  // namespace pellam

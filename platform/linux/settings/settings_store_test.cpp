#include "platform/settings_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>

#include "platform/file_system.h"
#include "platform/linux/system/file_descriptor.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using testing_support::TemporaryFolder;

unsigned permissionsOf(const std::filesystem::path& file) {
  return static_cast<unsigned>(std::filesystem::status(file).permissions());
}

class SettingsStoreTest : public testing::Test {
 protected:
  SettingsStoreTest() { ::umask(022); }
  std::shared_ptr<PellamKeyValueStoring> store() const {
    return makeSystemSettingsStore(folder_ / "Preferences/app.plist", makeSystemFileSystem(), {});
  }
  TemporaryFolder folder_;
};

TEST_F(SettingsStoreTest, ADamagedFileCountsAsEmptyAndIsKept) {
  folder_.write("Preferences/app.plist", "{{{{");
  EXPECT_EQ(store()->objectForKey("k"), std::nullopt);
  store()->set("v", "k");
  EXPECT_EQ(store()->stringForKey("k"), "v");
  EXPECT_EQ(TemporaryFolder::read(folder_ / "Preferences/app.plist.damaged"), "{{{{");
}

TEST_F(SettingsStoreTest, AChangeThatCannotBeSavedHoldsAndIsSavedWithTheNext) {
  folder_.write("Preferences", "in the folder's place");
  const auto settings = store();
  settings->set("kept", "a");
  settings->removeObjectForKey("b");
  EXPECT_EQ(settings->stringForKey("a"), "kept");
  EXPECT_EQ(store()->stringForKey("a"), std::nullopt);
  std::filesystem::remove(folder_ / "Preferences");
  settings->set("next", "c");
  EXPECT_EQ(store()->stringForKey("a"), "kept");
  EXPECT_EQ(store()->stringForKey("c"), "next");
}

TEST_F(SettingsStoreTest, AValueThatCannotBeSavedDoesNotKeepOthersFromIt) {
  PropertyListValue deep = PropertyListArray{};
  for (int level = 0; level < 200; ++level) deep = PropertyListArray{std::move(deep)};
  const auto settings = store();
  settings->set(deep, "deep");
  settings->set("kept", "a");
  settings->set(Date::max(), "latest");
  settings->set(Date::min(), "earliest");
  EXPECT_EQ(settings->objectForKey("deep"), deep);
  EXPECT_EQ(store()->objectForKey("deep"), std::nullopt);
  EXPECT_EQ(store()->stringForKey("a"), "kept");
  EXPECT_EQ(store()->objectForKey("latest"), PropertyListValue(Date::max()));
  EXPECT_EQ(store()->objectForKey("earliest"), PropertyListValue(Date::min()));
  settings->set("shallow", "deep");
  EXPECT_EQ(store()->stringForKey("deep"), "shallow");
}

TEST_F(SettingsStoreTest, TheFileStaysAsPrivateAsItIs) {
  const std::filesystem::path file = folder_ / "Preferences/app.plist";
  store()->set("a", "k");
  EXPECT_EQ(permissionsOf(file), 0600U);
  ::chmod(file.c_str(), 0640);
  store()->set("b", "k");
  EXPECT_EQ(permissionsOf(file), 0640U);
  folder_.write("Preferences/app.plist", "{{{{");
  store()->set("c", "k");
  EXPECT_EQ(permissionsOf(file), 0640U);
  EXPECT_EQ(permissionsOf(folder_ / "Preferences/app.plist.damaged"), 0600U);
}

TEST_F(SettingsStoreTest, ALinkInTheFilesPlaceStays) {
  const std::filesystem::path link = folder_ / "Preferences/app.plist";
  std::filesystem::create_directories(folder_ / "Preferences");
  std::filesystem::create_directories(folder_ / "kept");
  std::filesystem::create_symlink("../kept/second", link);
  std::filesystem::create_symlink(folder_ / "kept/app", folder_ / "kept/second");
  store()->set("a", "k");  // what the links point to is not there yet
  store()->set("b", "l");
  EXPECT_EQ(std::filesystem::read_symlink(link), "../kept/second");
  EXPECT_EQ(std::filesystem::read_symlink(folder_ / "kept/second"), folder_ / "kept/app");
  EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(folder_ / "kept/app")));
  EXPECT_EQ(store()->stringForKey("k"), "a");
  EXPECT_EQ(store()->stringForKey("l"), "b");
  // Links that lead nowhere in the end, and those of somebody else, are left alone.
  std::filesystem::remove(link);
  std::filesystem::create_symlink("app.plist", link);
  store()->set("c", "k");
  EXPECT_EQ(std::filesystem::read_symlink(link), "app.plist");
  if (::geteuid() != 0) return;
  std::filesystem::remove(link);
  std::filesystem::create_symlink(folder_ / "kept/foreign", link);
  ASSERT_EQ(::lchown(link.c_str(), 12'345, 12'345), 0);
  store()->set("d", "k");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "kept/foreign"));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST_F(SettingsStoreTest, AProcessThatKeepsItsTurnStopsNobody) {
  const auto settings = store();
  settings->set("old", "k");
  FileDescriptor turn(::open((folder_ / "Preferences/app.plist.lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(turn.get(), LOCK_EX), 0);
  const auto start = std::chrono::steady_clock::now();
  for (int change = 0; change < 20; ++change) settings->set(std::int64_t{change}, "k");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(settings->integerForKey("k"), 19);
  EXPECT_EQ(store()->stringForKey("k"), "old");
  turn.reset();
  settings->set("next", "l");
  EXPECT_EQ(store()->integerForKey("k"), 19);
}

TEST_F(SettingsStoreTest, WhatIsUnsavedAtTheEndIsTriedOnceMore) {
  auto settings = store();
  settings->set("old", "k");
  FileDescriptor turn(::open((folder_ / "Preferences/app.plist.lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(turn.get(), LOCK_EX), 0);
  settings->set("new", "k");
  turn.reset();
  settings.reset();
  EXPECT_EQ(store()->stringForKey("k"), "new");
}

}  // namespace
}  // namespace pellam

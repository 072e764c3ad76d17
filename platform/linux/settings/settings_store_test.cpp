#include "platform/settings_store.h"

#include <gtest/gtest.h>

#include "platform/file_system.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using testing_support::TemporaryFolder;

class SettingsStoreTest : public testing::Test {
 protected:
  std::shared_ptr<PellamKeyValueStoring> store() const {
    return makeSystemSettingsStore(folder_ / "Preferences/app.plist", makeSystemFileSystem());
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

}  // namespace
}  // namespace pellam

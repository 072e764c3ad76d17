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

}  // namespace
}  // namespace pellam

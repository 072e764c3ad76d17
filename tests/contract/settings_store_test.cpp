#include "platform/settings_store.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/file_system.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using testing_support::TemporaryFolder;

class SettingsStoreTest : public testing::Test {
 protected:
  std::shared_ptr<PellamKeyValueStoring> store() const {
    return makeSystemSettingsStore(folder_ / "Preferences/app.plist", makeSystemFileSystem(), {});
  }
  TemporaryFolder folder_;
};

TEST_F(SettingsStoreTest, AnAbsentKeyHasItsStatedValue) {
  const auto settings = store();
  EXPECT_FALSE(settings->boolForKey("k"));
  EXPECT_EQ(settings->stringForKey("k"), std::nullopt);
  EXPECT_EQ(settings->integerForKey("k"), 0);
  EXPECT_EQ(settings->doubleForKey("k"), 0.0);
  EXPECT_EQ(settings->objectForKey("k"), std::nullopt);
  settings->removeObjectForKey("k");
  settings->set(PropertyListValue(true), "k");
  settings->set(std::nullopt, "k");
  EXPECT_EQ(settings->objectForKey("k"), std::nullopt);
}

TEST_F(SettingsStoreTest, ValuesSurviveAndAreConvertedWhenRead) {
  struct Row {
    PropertyListValue value;
    bool boolean;
    std::optional<std::string> string;
    std::int64_t integer;
    double real;
  };
  const std::vector<Row> rows = {
      {true, true, "1", 1, 1.0},
      {std::int64_t{42}, true, "42", 42, 42.0},
      {2.5, true, "2.5", 2, 2.5},
      {"YES", true, "YES", 0, 0.0},
      {"12 o'clock", true, "12 o'clock", 12, 12.0},
      {"0", false, "0", 0, 0.0},
      {PropertyListDictionary{{"a", 1}}, false, std::nullopt, 0, 0.0},
  };
  for (const Row& row : rows) {
    store()->set(row.value, "k");
    const auto reopened = store();
    EXPECT_EQ(reopened->objectForKey("k"), row.value);
    EXPECT_EQ(reopened->boolForKey("k"), row.boolean);
    EXPECT_EQ(reopened->stringForKey("k"), row.string);
    EXPECT_EQ(reopened->integerForKey("k"), row.integer);
    EXPECT_EQ(reopened->doubleForKey("k"), row.real);
  }
}

TEST_F(SettingsStoreTest, ChangesOfSeveralStoresAreAllKept) {
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int index = 0; index < 8; ++index) {
    threads.emplace_back([this, index] { store()->set(std::int64_t{index}, "key" + std::to_string(index)); });
  }
  for (std::thread& thread : threads) thread.join();
  for (int index = 1; index < 8; ++index)
    EXPECT_EQ(store()->integerForKey("key" + std::to_string(index)), index);
}

}  // namespace
}  // namespace pellam

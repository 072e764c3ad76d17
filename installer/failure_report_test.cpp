#include "installer/failure_report.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/property_list.h"
#include "tests/support/fake_clock.h"
#include "tests/support/forwarding_file_system.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using testing_support::FixedClock;
using testing_support::ForwardingFileSystem;
using testing_support::TemporaryFolder;
using Store = OrvoAppBundleUpdateFailureReportStore;

// With a fraction of a second, which a report keeps.
FixedClock reportClock() {
  FixedClock clock;
  clock.date = Date(std::chrono::microseconds(1'700'000'000'123'456));
  return clock;
}

class HomeFileSystem final : public ForwardingFileSystem {
 public:
  explicit HomeFileSystem(fs::path support) : support_(std::move(support)) {}
  std::optional<Path> applicationSupportDirectory() const override { return support_; }

 private:
  fs::path support_;
};

class FailureReportTest : public testing::Test {
 protected:
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    if (!fs::exists(reports_)) return names;
    for (const auto& entry : fs::directory_iterator(reports_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  void write(const std::string& description, const std::optional<std::string>& attempt) {
    store_.writeFailureReport(description, "com.example", reportClock().now(), attempt);
  }

  TemporaryFolder folder_;
  fs::path reports_ = folder_ / "com.example/SeamlessInstaller";
  Store store_{std::make_shared<HomeFileSystem>(folder_.path()), std::make_shared<FixedClock>(reportClock())};
};

TEST_F(FailureReportTest, NamesTheAttemptsFile) {
  const std::string base = "PellamUpdateInstallerFailure.plist";
  const struct {
    std::optional<std::string> attempt;
    std::string file;  // empty: none
  } cases[] = {
      {"A/B C", "PellamUpdateInstallerFailure-A%2FB%20C.plist"},
      {"a-b_c.d~", "PellamUpdateInstallerFailure-a-b_c%2Ed%7E.plist"},
      {"\xC3\xA4\xD9\xA3", "PellamUpdateInstallerFailure-\xC3\xA4\xD9\xA3.plist"},
      {"\xE2\x82\xAC", "PellamUpdateInstallerFailure-%E2%82%AC.plist"},
      {std::string(128, 'x'), "PellamUpdateInstallerFailure-" + std::string(128, 'x') + ".plist"},
      {std::string(129, 'x'), ""},
      {"", ""},
      {std::nullopt, ""},
  };
  for (const auto& row : cases) {
    write("x", row.attempt);
    std::vector<std::string> expected{base};
    if (!row.file.empty()) expected.insert(expected.begin(), row.file);
    EXPECT_EQ(files(), expected);
    fs::remove_all(reports_);
  }
}

TEST_F(FailureReportTest, KeepsExactlyTheStatedKeys) {
  write("why", std::nullopt);
  const std::string bytes = TemporaryFolder::read(reports_ / Store::reportFileName);
  EXPECT_EQ(bytes.substr(0, 8), "bplist00");
  const PropertyListDictionary expected{{"errorDescription", "why"}, {"failedAt", reportClock().now()}};
  EXPECT_EQ(readPropertyList({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}),
            PropertyListValue(expected));
}

TEST_F(FailureReportTest, ConsumesThePreferredAttemptAndClearsTheRest) {
  write("first", "A");
  write("second", "B");
  folder_.write("com.example/SeamlessInstaller/PellamUpdateInstallerFailure-note.txt", "");
  const auto report = store_.consumeFailureReport("com.example", "A");
  EXPECT_EQ(report, (OrvoAppBundleUpdateFailureReport{"first", reportClock().now(), "A"}));
  EXPECT_EQ(files(), std::vector<std::string>{"PellamUpdateInstallerFailure-note.txt"});
  EXPECT_EQ(store_.consumeFailureReport("com.example", "A"), std::nullopt);
}

TEST_F(FailureReportTest, FallsBackToTheBaseReportAndItsOwnAttempt) {
  write("first", "A");
  write("second", "B");
  const auto report = store_.consumeFailureReport("com.example", "C");
  EXPECT_EQ(report, (OrvoAppBundleUpdateFailureReport{"second", reportClock().now(), "B"}));
  EXPECT_EQ(files(), std::vector<std::string>{"PellamUpdateInstallerFailure-A.plist"});
}

TEST_F(FailureReportTest, AnUnreadableReportIsAnUnknownFailure) {
  const auto dictionary = [](const PropertyListDictionary& value) {
    const auto bytes = writeBinaryPropertyList(PropertyListValue(value));
    return std::string(bytes.begin(), bytes.end());
  };
  const Date date = reportClock().now();
  const std::string bad[] = {
      "",
      "garbage",
      "<plist version=\"1.0\"><array/></plist>",
      dictionary({{"failedAt", date}}),
      dictionary({{"errorDescription", "x"}}),
      dictionary({{"errorDescription", "x"}, {"failedAt", "2024-01-01"}}),
      dictionary({{"errorDescription", "x"}, {"failedAt", date}, {"attemptIdentifier", 5}}),
  };
  for (const std::string& text : bad) {
    write("other", "B");
    folder_.write("com.example/SeamlessInstaller/PellamUpdateInstallerFailure-A.plist", text);
    EXPECT_EQ(store_.consumeFailureReport("com.example", "A"),
              (OrvoAppBundleUpdateFailureReport{"Unknown helper failure", date, "A"}));
    EXPECT_TRUE(files().empty());
    folder_.write("com.example/SeamlessInstaller/PellamUpdateInstallerFailure.plist", text);
    EXPECT_EQ(store_.consumeFailureReport("com.example", std::nullopt),
              (OrvoAppBundleUpdateFailureReport{"Unknown helper failure", date, std::nullopt}));
    EXPECT_TRUE(files().empty());
  }
}

TEST_F(FailureReportTest, WithoutALocationNothingHappens) {
  store_.writeFailureReport("x", "", reportClock().now(), "A");
  EXPECT_TRUE(fs::is_empty(folder_.path()));
  EXPECT_EQ(store_.consumeFailureReport("", "A"), std::nullopt);
  EXPECT_EQ(Store::userApplicationSupportReportURL("b", ""), std::nullopt);
  EXPECT_EQ(Store::userApplicationSupportReportURL("", "/h"), std::nullopt);
  EXPECT_EQ(Store::sandboxContainerReportURL("", "/h"), std::nullopt);
  // What cannot be the name of one folder leads nowhere.
  for (const std::string& identifier :
       {std::string("/elsewhere"), std::string("a/../../b"), std::string(".."), std::string("a\0b", 3)}) {
    EXPECT_EQ(store_.reportURL(identifier), std::nullopt) << identifier;
    EXPECT_EQ(Store::sandboxContainerReportURL(identifier, "/h"), std::nullopt) << identifier;
    EXPECT_EQ(store_.consumeFailureReport(identifier, "A"), std::nullopt) << identifier;
  }
  EXPECT_EQ(Store::sandboxContainerReportURL("b", ""), std::nullopt);
  EXPECT_EQ(Store::userApplicationSupportReportURL("b", "/h"),
            "/h/Library/Application Support/b/SeamlessInstaller/PellamUpdateInstallerFailure.plist");
  EXPECT_EQ(Store::sandboxContainerReportURL("b", "/h"),
            "/h/Library/Containers/b/Data/Library/Application Support/b/SeamlessInstaller/"
            "PellamUpdateInstallerFailure.plist");
}

TEST_F(FailureReportTest, TheBaseReportIsNotWrittenWhenTheAttemptsFails) {
  fs::create_directories(reports_ / "PellamUpdateInstallerFailure-A.plist");
  EXPECT_THROW(write("x", "A"), std::system_error);
  EXPECT_EQ(files(), std::vector<std::string>{"PellamUpdateInstallerFailure-A.plist"});
}

TEST_F(FailureReportTest, WhatWasNeverCompleteGoesWhenItIsOld) {
  const std::string half = ".PellamUpdateInstallerFailure-A.plist.partial-0123456789abcdef";
  folder_.write("com.example/SeamlessInstaller/" + half, "x");
  EXPECT_EQ(store_.consumeFailureReport("com.example", std::nullopt), std::nullopt);
  EXPECT_EQ(files(), std::vector<std::string>{half});
  FixedClock later;
  later.date =
      *makeSystemFileSystem()->attributes(reports_ / half).modificationDate + std::chrono::minutes(10);
  Store store(std::make_shared<HomeFileSystem>(folder_.path()), std::make_shared<FixedClock>(later));
  EXPECT_EQ(store.consumeFailureReport("com.example", std::nullopt), std::nullopt);
  EXPECT_TRUE(files().empty());
}

}  // namespace
}  // namespace pellam

#include "host/shared_folder_exchange.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "tests/support/coordinator_fakes.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;

class SharedFolderExchangeTest : public testing::Test {
 protected:
  SharedFolderExchangeTest() {
    folder_.write("a.pkg", "old a");
    folder_.write("b/inside", "old b");
    folder_.write("unrelated", "kept");
    fs::create_symlink("nowhere", folder_ / "link");
  }
  // Unpacks a.pkg, b, c.txt and link aside and exchanges them.
  void exchangeOnce() {
    SharedFolderExchange exchange({files_, makeSystemUUIDGenerator(), clock_}, folder_.path());
    const fs::path content = exchange.newContent();
    folder_.write(content / "a.pkg", "new a");
    folder_.write(content / "b/other", "new b");
    folder_.write(content / "c.txt", "new c");
    folder_.write(content / "link", "new link");
    exchange.bringIn();
  }
  // Everything in the folder: names, and the texts of files.
  std::map<std::string, std::string> content() const {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path())) {
      const std::string name = entry.path().lexically_relative(folder_.path());
      found[name] = entry.is_symlink()     ? "->"
                    : entry.is_directory() ? "/"
                                           : TemporaryFolder::read(entry.path());
    }
    return found;
  }

  const std::map<std::string, std::string> before_ = {
      {"a.pkg", "old a"}, {"b", "/"}, {"b/inside", "old b"}, {"unrelated", "kept"}, {"link", "->"}};
  const std::map<std::string, std::string> after_ = {{"a.pkg", "new a"},   {"b", "/"},
                                                     {"b/other", "new b"}, {"c.txt", "new c"},
                                                     {"link", "new link"}, {"unrelated", "kept"}};
  TemporaryFolder folder_;
  std::shared_ptr<RedirectedFileSystem> files_ = std::make_shared<RedirectedFileSystem>(folder_.path());
  std::shared_ptr<PellamClock> clock_ = std::make_shared<FixedClock>();
};

TEST_F(SharedFolderExchangeTest, NewItemsTakeThePlacesOfOldOnesAndOthersStay) {
  exchangeOnce();
  EXPECT_EQ(content(), after_);
  exchangeOnce();
  EXPECT_EQ(content(), after_);
}

TEST_F(SharedFolderExchangeTest, AFailureAtAnyMoveLeavesWhatWasThere) {
  for (int broken = 1;; ++broken) {
    int moves = 0;
    files_->onMove = [&](const fs::path& source, const fs::path&) {
      if (++moves == broken) throw std::system_error(EIO, std::generic_category(), source.string());
    };
    try {
      exchangeOnce();
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), EIO);
      EXPECT_EQ(content(), before_) << "after " << broken;
      continue;
    }
    EXPECT_EQ(moves, 8) << "four aside, four in";
    EXPECT_EQ(broken, 9);
    break;
  }
}

TEST_F(SharedFolderExchangeTest, WhatCannotBeMovedBackIsNotRemoved) {
  files_->onMove = [](const fs::path& source, const fs::path& destination) {
    const bool isReturn = source.parent_path().filename() == "old";
    if (isReturn || destination.filename() == "c.txt") {
      throw std::system_error(EIO, std::generic_category(), source.string());
    }
  };
  EXPECT_THROW(exchangeOnce(), std::system_error);
  int kept = 0;
  for (const auto& [name, text] : content()) kept += text == "old a" || text == "old b" ? 1 : 0;
  EXPECT_EQ(kept, 2);
}

TEST_F(SharedFolderExchangeTest, AKillBetweenTheMovesBlocksNobodyAndItsTracesGo) {
  for (int last = 0; last < 8; ++last) {
    const pid_t child = ::fork();
    if (child == 0) {
      int moves = 0;
      files_->onMove = [&](const auto&, const auto&) {
        if (moves++ == last) ::_exit(0);
      };
      exchangeOnce();
      ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    const auto hidden = [&] {
      std::vector<fs::path> found;
      for (const auto& entry : fs::directory_iterator(folder_.path())) {
        if (entry.path().filename().string().starts_with(".")) found.push_back(entry.path());
      }
      return found;
    };
    const std::vector<fs::path> left = hidden();
    ASSERT_EQ(left.size(), 1U);
    files_->creationDates[left.front().filename()] = clock_->now() - std::chrono::seconds(599);
    exchangeOnce();
    EXPECT_EQ(hidden(), left) << "it may be another process's, at work";
    files_->creationDates[left.front().filename()] = clock_->now() - std::chrono::seconds(600);
    exchangeOnce();
    EXPECT_EQ(content(), after_) << last;
  }
}

TEST_F(SharedFolderExchangeTest, OnlyItsOwnTracesGo) {
  const std::string identifier = "00000000-0000-4000-8000-00000000000a";
  fs::create_directory(folder_ / ".unpacking-mine");
  fs::create_directory_symlink("b", folder_ / (".unpacking-" + identifier));
  for (const std::string name : {".unpacking-mine", ".unpacking-00000000-0000-4000-8000-00000000000a"}) {
    files_->creationDates[name] = clock_->now() - std::chrono::hours(1);
  }
  exchangeOnce();
  EXPECT_TRUE(fs::exists(folder_ / ".unpacking-mine"));
  EXPECT_TRUE(fs::is_symlink(folder_ / (".unpacking-" + identifier)));
}

}  // namespace
}  // namespace pellam

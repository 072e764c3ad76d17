#include "installer/interrupted_replacement_recovery.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using testing_support::TemporaryFolder;

TEST(Recovery, PutsBackABundleOfOursAndNothingElse) {
  const std::string one = "Editor.app.orvo-update-backup-0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
  const std::string two = "Editor.app.orvo-update-backup-1F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
  const std::string incoming = ".Editor.app.orvo-update-new-0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
  const struct {
    const char* name;
    std::vector<std::string> folders;
    std::vector<std::string> files;
    bool recovers;
  } cases[] = {
      {"one backup", {one}, {}, true},
      {"another application's",
       {"Other.app.orvo-update-backup-0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11"},
       {},
       false},
      {"no identifier", {"Editor.app.orvo-update-backup-old"}, {}, false},
      {"more behind it", {one + ".partial"}, {}, false},
      {"two", {one, two}, {}, true},
      {"on its way", {incoming + "/Contents/Info.plist"}, {}, true},
      {"a privileged helper's folder", {incoming + "/Editor.app/Contents/Info.plist"}, {}, false},
      {"a file", {}, {one}, false},
      {"installed", {one, "Editor.app"}, {}, false},
      {"something in its place", {one}, {"Editor.app"}, false},
      {"nothing", {}, {}, false},
  };
  for (const auto& row : cases) {
    const TemporaryFolder folder;
    for (const std::string& name : row.folders) fs::create_directories(folder / name);
    for (const std::string& name : row.files) folder.write(name, "");
    const auto count = [&] {
      return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
    };
    const auto before = count();
    const auto files = makeSystemFileSystem();
    EXPECT_EQ(recoverInterruptedReplacement(*files, folder / "Editor.app/", [](const std::string&) {}),
              row.recovers)
        << row.name;
    EXPECT_EQ(count(), before) << row.name;  // moved, not copied or removed
    EXPECT_EQ(fs::is_directory(folder / "Editor.app"), row.recovers || row.name == std::string("installed"))
        << row.name;
  }
  // A dangling link is something, too; and a folder that is not there is no reason to fail.
  const TemporaryFolder folder;
  fs::create_directories(folder / one);
  fs::create_symlink("nowhere", folder / "Editor.app");
  const auto files = makeSystemFileSystem();
  EXPECT_FALSE(recoverInterruptedReplacement(*files, folder / "Editor.app", [](const std::string&) {}));
  EXPECT_FALSE(recoverInterruptedReplacement(*files, folder / "none/Editor.app", [](const std::string&) {}));
}

TEST(Recovery, TakesTheBundleThatGotItsNameLastAndABackupBeforeAnyOther) {
  const TemporaryFolder folder;
  const std::string backup = "Editor.app.orvo-update-backup-";
  const auto make = [&](const std::string& name, const char* version) {
    folder.write("new/Contents/Info.plist", version);
    std::this_thread::sleep_for(std::chrono::milliseconds(15));  // the volume's clock ticks
    fs::rename(folder / "new", folder / name);
  };
  make(backup + "FF3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11", "1");
  make(backup + "0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11", "3");
  make(backup + "1F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11", "2");
  make(".Editor.app.orvo-update-new-0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11", "4");
  const auto files = makeSystemFileSystem();
  EXPECT_TRUE(recoverInterruptedReplacement(*files, folder / "Editor.app", [](const std::string&) {}));
  EXPECT_EQ(TemporaryFolder::read(folder / "Editor.app/Contents/Info.plist"), "2");
}

}  // namespace
}  // namespace pellam

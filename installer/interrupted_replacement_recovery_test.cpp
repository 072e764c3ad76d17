#include "installer/interrupted_replacement_recovery.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using testing_support::TemporaryFolder;

TEST(Recovery, PutsBackExactlyOneBackupAndNothingElse) {
  const std::string one = "Editor.app.orvo-update-backup-0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
  const std::string two = "Editor.app.orvo-update-backup-1F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
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
      {"two", {one, two}, {}, false},
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
    EXPECT_EQ(count(), before) << row.name;
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

}  // namespace
}  // namespace pellam

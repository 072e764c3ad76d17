#include "installer/file_safety.h"

#include <gtest/gtest.h>

#include "installer/staging_folder.h"
#include "pellam/installer_error.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using testing_support::TemporaryFolder;

// "itself", "nothing" or the error's name.
std::string answerFor(const fs::path& bundle, const std::optional<fs::path>& container) {
  const auto files = makeSystemFileSystem();
  try {
    const auto result = OrvoAppBundleFileSafety::realDirectoryAppBundle(*files, bundle, container);
    if (!result) return "nothing";
    return *result == bundle ? "itself" : "another path";
  } catch (const OrvoUpdateInstallerError& error) {
    return std::string(error.caseName());
  }
}

TEST(FileSafety, AcceptsRealApplicationFoldersOnly) {
  const TemporaryFolder folder;
  for (const char* name : {"in/Editor.app", "in/Editor.APP", "in/Editor.bundle", "outside/Other.app"}) {
    fs::create_directories(folder / name);
  }
  folder.write("in/File.app", "no folder");
  fs::create_directory_symlink(folder / "in/Editor.app", folder / "in/Link.app");
  fs::create_directory_symlink(folder / "outside", folder / "in/escape");
  fs::create_directory_symlink(folder / "in", folder / "alias");
  const fs::path in = folder / "in";
  const struct {
    fs::path bundle;
    std::optional<fs::path> container;
    const char* answer;
  } cases[] = {
      {in / "Editor.app", std::nullopt, "itself"},
      {in / "Editor.app/", std::nullopt, "itself"},
      {in / "Editor.APP", in, "itself"},
      {folder / "alias/Editor.app", in, "itself"},
      {in / "Editor.bundle", std::nullopt, "nothing"},
      {in / "File.app", std::nullopt, "nothing"},
      {in / ".app", std::nullopt, "nothing"},
      {in / "Missing.app", std::nullopt, "invalidArchive"},
      {in / "Link.app", std::nullopt, "invalidArchive"},
      {in / "Link.app/", std::nullopt, "invalidArchive"},
      {in / "escape/Other.app", in, "invalidArchive"},
      {folder / "outside/Other.app", in, "invalidArchive"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(answerFor(row.bundle, row.container), row.answer) << row.bundle;
    if (!row.container) {
      EXPECT_EQ(OrvoAppBundleFileSafety::isRealDirectoryAppBundle(*makeSystemFileSystem(), row.bundle),
                std::string(row.answer) == "itself")
          << row.bundle;
    }
  }
}

TEST(FileSafety, ContainmentRespectsComponentBorders) {
  EXPECT_TRUE(OrvoAppBundleFileSafety::isContained("/Ap/Foo", "/Ap"));
  EXPECT_TRUE(OrvoAppBundleFileSafety::isContained("/Ap/Foo", "/Ap/"));
  EXPECT_TRUE(OrvoAppBundleFileSafety::isContained("/Ap", "/Ap"));
  EXPECT_TRUE(OrvoAppBundleFileSafety::isContained("/Ap", "/"));
  EXPECT_FALSE(OrvoAppBundleFileSafety::isContained("/Apps/Foo", "/Ap"));
  EXPECT_FALSE(OrvoAppBundleFileSafety::isContained("/Ap", "/Ap/Foo"));
}

TEST(StagingFolder, FindsTheAttemptFolderByItsName) {
  const std::string attempt = "/x/SeamlessInstaller/0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";
  const std::string lower = "/x/SeamlessInstaller/0f3c2a64-7d1b-4c1e-9a4b-2b8f0e6c9d11";
  const struct {
    std::string folder;
    std::optional<std::string> attemptRoot;
  } cases[] = {
      {attempt + "/Extracted", attempt},
      {attempt, attempt},
      {lower + "/a/../Extracted/", lower},
      {attempt + "/2/3/4/5/6/7/8", attempt},
      {attempt + "/2/3/4/5/6/7/8/9", std::nullopt},
      {"/x/SeamlessInstaller/tmp/Extracted", std::nullopt},
      {"/x/SeamlessInstaller/0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D1/E", std::nullopt},
      {"/x/SeamlessInstaller", std::nullopt},
      {"/x/seamlessinstaller/0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11", std::nullopt},
      {"/x/y", std::nullopt},
      {"/", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& row : cases) {
    const auto found = seamlessInstallerAttemptRoot(row.folder);
    EXPECT_EQ(found ? std::optional(found->string()) : std::nullopt, row.attemptRoot) << row.folder;
  }
}

}  // namespace
}  // namespace pellam

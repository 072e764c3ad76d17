#include "tools/pellam_ditto/ditto_command.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <sstream>

#include "tests/support/temporary_folder.h"
#include "tests/support/zip_builder.h"

// The command line around the unpacker: what it takes, and the one line that it answers with.

namespace pellam::archive {
namespace {

namespace fs = std::filesystem;
using testing_support::TemporaryFolder;

struct Ended {
  int status;
  std::string output;
  std::string errors;
};

Ended run(const std::vector<std::string>& arguments, bool isStopped = false) {
  std::ostringstream output;
  std::ostringstream errors;
  const std::atomic<bool> stop = isStopped;
  const int status = runDitto(*makeSystemFolderOpening(), arguments, output, errors, stop);
  return {status, output.str(), errors.str()};
}

TEST(DittoCommand, OtherUsesAreRefused) {
  constexpr const char* usage = "usage: pellam-ditto -x -k ARCHIVE DESTINATION\n";
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"-x"},
                                             {"-x", "-k", "a.zip"},
                                             {"-c", "-k", "a", "b"},
                                             {"-x", "-k", "a", "b", "c"},
                                             {"-x", "-k", "", "b"}}) {
    const Ended ended = run(arguments);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, usage);
  }
  EXPECT_EQ(run({"--help"}).output, usage);
}

TEST(DittoCommand, AnswersInOneLineOrInSilence) {
  const TemporaryFolder folder;
  const fs::path archive =
      folder.write("a\nb.zip", ZipBuilder{.entries = {{.name = "App.app/file", .content = "x"}}}.build());
  const fs::path hostile =
      folder.write("hostile.zip", ZipBuilder{.entries = {{.name = "../out\nside", .content = "x"}}}.build());
  const fs::path destination = folder / "new/destination";
  const struct {
    fs::path archive;
    bool isStopped;
    std::string errors;
  } rows[] = {
      {hostile, false, hostile.string() + ": name leads outside: ../out\\nside\n"},
      {folder / "missing.zip", false, (folder / "missing.zip").string() + ": No such file or directory\n"},
      {archive, true, (folder / "a\\nb.zip").string() + ": interrupted\n"},
  };
  for (const auto& row : rows) {
    const Ended ended = run({"-x", "-k", row.archive.string(), destination.string()}, row.isStopped);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "pellam-ditto: " + row.errors);
    EXPECT_FALSE(fs::exists(folder / "new"));
  }
  const Ended ended = run({"-x", "-k", archive.string(), destination.string()});
  EXPECT_EQ(ended.status, 0) << ended.errors;
  EXPECT_EQ(ended.output + ended.errors, "");
  EXPECT_EQ(TemporaryFolder::read(destination / "App.app/file"), "x");
}

}  // namespace
}  // namespace pellam::archive

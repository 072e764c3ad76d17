#include "host/archive_unzipping.h"

#include <gtest/gtest.h>

namespace pellam {
namespace {

struct Tool final : ChildProcessRunning {
  ChildProcessResult run(const std::filesystem::path&, const std::vector<std::string>&) override {
    return result;
  }
  ChildProcessResult result;
};

TEST(ArchiveUnzippingTest, TheLogIsToldWhyAnArchiveWasNotUnpacked) {
  const struct {
    ChildProcessResult result;
    bool isUnpacked;
    std::vector<std::string> log;
  } rows[] = {
      {{std::nullopt, 0, "a warning"}, true, {}},
      {{std::nullopt, 2, "wrong checksum: a\nb\n"},
       false,
       {"Unable to unpack the archive path=/x/a\\nb.zip status=2 output=wrong checksum: a\\nb"}},
      {{std::nullopt, 9, ""},
       false,
       {"Unable to unpack the archive path=/x/a\\nb.zip status=9 output=<empty>"}},
      {{BridgedError{"NSPOSIXErrorDomain", 2, "No such file or directory"}, 0, ""},
       false,
       {"Unable to unpack the archive path=/x/a\\nb.zip error=No such file or directory"}},
  };
  for (const auto& row : rows) {
    const auto tool = std::make_shared<Tool>();
    tool->result = row.result;
    std::vector<std::string> log;
    OrvoUpdateSystemUnzipper unzipper(tool, [&](const std::string& line) { log.push_back(line); });
    EXPECT_EQ(unzipper.unzip("/x/a\nb.zip", "/y"), row.isUnpacked);
    EXPECT_EQ(log, row.log);
  }
}

}  // namespace
}  // namespace pellam

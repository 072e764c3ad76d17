#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"
#include "platform/process_information.h"
#include "platform/user_languages.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using testing_support::TemporaryFolder;

std::filesystem::path writeScript(const TemporaryFolder& folder, const std::string& name,
                                  const std::string& text) {
  const std::filesystem::path file = folder.write(name, "#!/bin/sh\n" + text);
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  return file;
}

TEST(ChildProcessContractTest, ReturnsBothOutputsAndTheStatus) {
  const TemporaryFolder folder;
  const auto processes = makeSystemChildProcessRunner(folder.path());
  const ChildProcessResult result =
      processes->run(writeScript(folder, "tool", "echo out \"$1\"; echo err >&2; exit 3\n"), {"a b"});
  EXPECT_EQ(result.launchError, std::nullopt);
  EXPECT_EQ(result.terminationStatus, 3);
  EXPECT_EQ(result.output, "out a b\nerr\n");
  EXPECT_EQ(processes->run(writeScript(folder, "killed", "kill -9 $$\n"), {}).terminationStatus, 9);
  // More than a pipe holds, read while the tool is still writing.
  EXPECT_EQ(processes->run(writeScript(folder, "talkative", "head -c 1000000 /dev/zero\n"), {}).output.size(),
            1'000'000U);
  EXPECT_EQ(processes->run(writeScript(folder, "asking", "read answer && exit 1; echo none\n"), {}).output,
            "none\n");
  EXPECT_TRUE(processes->run(folder / "missing", {}).launchError);
}

TEST(BundleContractTest, OpensFoldersWithAndWithoutInformation) {
  const TemporaryFolder folder;
  folder.write("A.app/Contents/Info.plist",
               "<plist><dict><key>CFBundleIdentifier</key><string>com.example.a</string>"
               "<key>CFBundleVersion</key><string>7</string></dict></plist>");
  folder.write("A.app/Contents/Resources/en.lproj/Updates.strings", "\"OK\" = \"Fine\";");
  folder.write("file", "");
  std::filesystem::create_directory(folder / "B.app");
  const auto bundles = makeSystemBundleLoader(makeSystemFileSystem());
  EXPECT_EQ(bundles->bundleAt(folder / "A.app")->bundleIdentifier(), "com.example.a");
  EXPECT_EQ(bundles->bundleAt(folder / "A.app")->informationString("CFBundleVersion"), "7");
  EXPECT_EQ(bundles->bundleAt(folder / "B.app")->bundleIdentifier(), std::nullopt);
  EXPECT_FALSE(bundles->bundleAt(folder / "file"));
  EXPECT_FALSE(bundles->bundleAt(folder / "missing"));
  EXPECT_EQ(bundles->localizedString(folder / "A.app", "unknown", "Updates", "fallback"), "fallback");
  // What an update has just put there, not what was read before.
  folder.write("A.app/Contents/Info.plist",
               "<plist><dict><key>CFBundleIdentifier</key><string>com.example.b</string></dict></plist>");
  EXPECT_EQ(bundles->bundleAt(folder / "A.app")->bundleIdentifier(), "com.example.b");
}

TEST(UserLanguagesContractTest, EndWithEnglishAndBase) {
  const std::vector<std::string> languages = userLanguages();
  ASSERT_GE(languages.size(), 2U);
  EXPECT_EQ(languages[languages.size() - 2], "en");
  EXPECT_EQ(languages.back(), "Base");
}

TEST(ProcessInformationTest, WaitsForAnotherProcess) {
  const auto process = makeSystemProcessInformation();
  const pid_t child = ::fork();
  if (child == 0) {
    ::pause();
    ::_exit(0);
  }
  EXPECT_FALSE(process->waitForProcessToEnd(child, std::chrono::milliseconds(20)));
  ::kill(child, SIGKILL);
  EXPECT_TRUE(process->waitForProcessToEnd(child, std::chrono::seconds(10)));
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(process->waitForProcessToEnd(child, std::chrono::seconds(10))) << "a process that is long gone";
}

TEST(UUIDTest, AreCanonicalAndDiffer) {
  const auto identifiers = makeSystemUUIDGenerator();
  std::set<std::string> made;
  for (int count = 0; count < 100; ++count) {
    const std::string identifier = identifiers->makeUUID();
    EXPECT_TRUE(isUUID(identifier));
    EXPECT_EQ(identifier.find_first_of("abcdef"), std::string::npos);
    EXPECT_EQ(identifier[14], '4');
    made.insert(identifier);
  }
  EXPECT_EQ(made.size(), 100U);
  EXPECT_TRUE(isUUID("0f3c2a64-7d1b-4c1e-9a4b-2b8f0e6c9d11"));
  for (const char* text : {"", "0F3C2A647D1B4C1E9A4B2B8F0E6C9D11", "0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D1G",
                           "0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D111", "0F3C2A64 7D1B-4C1E-9A4B-2B8F0E6C9D11"}) {
    EXPECT_FALSE(isUUID(text)) << text;
  }
}

TEST(OperatingSystemVersionTest, IsTheOneThatTheSystemIsSoldAs) {
  for (const auto& [told, sold] : {std::pair(15, 15), {16, 26}, {17, 17}, {26, 26}}) {
    EXPECT_EQ(asSold({told, 3, 1}), (OperatingSystemVersion{sold, 3, 1}));
  }
  EXPECT_NE(makeSystemProcessInformation()->operatingSystemVersion().major, 16);
}

}  // namespace
}  // namespace pellam

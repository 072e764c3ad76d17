#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/linux/system/detached_process.h"
#include "platform/linux/system/operating_system_release.h"
#include "platform/process_information.h"
#include "platform/user_languages.h"
#include "platform/workspace.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using namespace std::chrono_literals;
using testing_support::TemporaryFolder;

std::filesystem::path writeScript(const TemporaryFolder& folder, const std::string& name,
                                  const std::string& text) {
  const std::filesystem::path file = folder.write(name, "#!/bin/sh\n" + text);
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  return file;
}

TEST(ChildProcessTest, ReturnsBothOutputsAndTheStatus) {
  const TemporaryFolder folder;
  writeScript(folder, "pellam-codesign", "echo out \"$1\"; echo err >&2; exit 3\n");
  const auto processes = makeSystemChildProcessRunner(folder.path());
  const ChildProcessResult result = processes->run("/usr/bin/codesign", {"a b"});
  EXPECT_EQ(result.launchError, std::nullopt);
  EXPECT_EQ(result.terminationStatus, 3);
  EXPECT_EQ(result.output, "out a b\nerr\n");

  EXPECT_EQ(processes->run(writeScript(folder, "killed", "kill -9 $$\n"), {}).terminationStatus, 9);
  // More than a pipe holds, read while the tool is still writing.
  EXPECT_EQ(processes->run(writeScript(folder, "talkative", "head -c 1000000 /dev/zero\n"), {}).output.size(),
            1'000'000U);
  // Standard input is closed, so a tool that asks gets an end of file.
  EXPECT_EQ(processes->run(writeScript(folder, "asking", "read answer && exit 1; echo none\n"), {}).output,
            "none\n");
}

TEST(ChildProcessTest, ALostStatusIsNoSuccess) {
  const TemporaryFolder folder;
  const auto processes = makeSystemChildProcessRunner(folder.path());
  const auto earlier = ::signal(SIGCHLD, SIG_IGN);
  const ChildProcessResult result = processes->run(writeScript(folder, "refusing", "exit 3\n"), {});
  ::signal(SIGCHLD, earlier);
  EXPECT_EQ(result.launchError, (BridgedError{"NSPOSIXErrorDomain", ECHILD, "No child processes"}));
}

TEST(ChildProcessTest, SaysWhyAToolCouldNotStart) {
  const TemporaryFolder folder;
  const auto processes = makeSystemChildProcessRunner(folder.path());
  EXPECT_EQ(processes->run("/usr/bin/ditto", {}).launchError,
            (BridgedError{"NSPOSIXErrorDomain", ENOENT, "No such file or directory"}));
  EXPECT_EQ(processes->run(folder.write("plain", "x"), {}).launchError,
            (BridgedError{"NSPOSIXErrorDomain", EACCES, "Permission denied"}));
}

TEST(DetachedProcessTest, OutlivesItsStarterAndReportsAFailedStart) {
  const TemporaryFolder folder;
  const auto marker = folder / "marker";
  const auto app = writeScript(folder, "app", "ps -o sid= -p $$ > \"$1.new\"; mv \"$1.new\" \"$1\"\n");
  EXPECT_EQ(startDetachedProcess({.executable = app, .arguments = {marker.string()}}).startError, 0);
  for (int tries = 0; tries < 500 && !std::filesystem::exists(marker); ++tries) ::usleep(10'000);
  const std::string session = TemporaryFolder::read(marker);
  ASSERT_FALSE(session.empty());
  EXPECT_NE(std::stol(session), ::getsid(0)) << "a session of its own";
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left to wait for";
  EXPECT_EQ(startDetachedProcess({.executable = folder / "missing"}).startError, ENOENT);
  EXPECT_EQ(startDetachedProcess({.executable = folder.write("plain", "x")}).startError, EACCES);
}

TEST(DetachedProcessTest, IsWaitedForAsLongAsThereIsPatience) {
  const TemporaryFolder folder;
  const auto status = [&](const std::string& text, std::chrono::milliseconds patience = 30s) {
    return runDetachedProcess({.executable = writeScript(folder, "tool", text)}, patience).terminationStatus;
  };
  EXPECT_EQ(status("exit 0\n"), 0);
  EXPECT_EQ(status("exit 3\n"), 3);
  EXPECT_EQ(status("kill -9 $$\n"), 9);
  EXPECT_EQ(status("sleep 30 &\nexit 4\n"), 4) << "what it started is not waited for";
  const auto earlier = ::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(status("exit 3\n"), 3) << "nobody asks this process for its children";
  ::signal(SIGCHLD, earlier);
  EXPECT_EQ(status("exec sleep 3\n", 50ms), std::nullopt);
  EXPECT_EQ(runDetachedProcess({.executable = folder / "missing"}, 30s).startError, ENOENT);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left to wait for";
}

// The desktop as its user set it up: one program for addresses of a scheme and for texts.
class WorkspaceTest : public testing::Test {
 protected:
  void SetUp() override {
    if (::access("/usr/bin/gio", X_OK) != 0) GTEST_SKIP() << "there is no /usr/bin/gio";
    // It talks while it lives, and says in the end that nothing has killed it.
    const auto program = writeScript(folder_, "viewer", R"(
for count in 1 2 3 4 5 6; do sleep 0.5; echo "still here"; echo "still here" >&2; done
echo "$1" >> "$(dirname "$0")/opened-to-the-end"
)");
    folder_.write("data/applications/viewer.desktop",
                  "[Desktop Entry]\nType=Application\nName=Viewer\nExec=" + program.string() +
                      " %u\nMimeType=x-scheme-handler/pellam-test;text/plain;\n");
    folder_.write("configuration/mimeapps.list",
                  "[Default Applications]\nx-scheme-handler/pellam-test=viewer.desktop\n"
                  "text/plain=viewer.desktop\n");
    ::setenv("XDG_DATA_HOME", (folder_ / "data").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (folder_ / "configuration").c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("XDG_DATA_HOME");
    ::unsetenv("XDG_CONFIG_HOME");
  }

  TemporaryFolder folder_;
  std::shared_ptr<Workspace> workspace_ =
      makeSystemWorkspace(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem()));
};

TEST_F(WorkspaceTest, OpensWithoutWaitingForTheProgramAndWithoutHoldingItsStreams) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(workspace_->open(*URL::parse("pellam-test:notes")));
  const auto file = folder_.write("read me.txt", "text");
  EXPECT_TRUE(workspace_->open(file));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);

  const std::size_t length = std::string("pellam-test:notes\n").size() + file.string().size() + 1;
  const auto opened = [&] { return TemporaryFolder::read(folder_ / "opened-to-the-end"); };
  for (int tries = 0; tries < 1'000 && opened().size() < length; ++tries) ::usleep(10'000);
  EXPECT_NE(opened().find("pellam-test:notes\n"), std::string::npos) << opened();
  EXPECT_NE(opened().find(file.string() + "\n"), std::string::npos) << opened();
}

TEST_F(WorkspaceTest, SaysWhenNothingOpensIt) {
  EXPECT_FALSE(workspace_->open(*URL::parse("unheard-of-scheme:notes")));
  EXPECT_FALSE(workspace_->open(folder_ / "missing.txt"));
}

TEST(ProcessInformationTest, ReadsTheSystemsVersion) {
  const std::pair<const char*, const char*> rows[] = {
      {"NAME=x\nVERSION_ID=\"12\"\n", "12.0.0"},
      {"VERSION_ID=24.04", "24.4.0"},
      {"VERSION_ID='3.18.4'\n", "3.18.4"},
      {"VERSION_ID=rolling\n", "0.0.0"},
      {"NAME=x\n", "0.0.0"},
      {"", "0.0.0"},
  };
  for (const auto& [release, version] : rows) {
    EXPECT_EQ(operatingSystemVersionFromRelease(release).text(), version) << release;
  }
}

TEST(BundleTest, OpensFoldersAndFindsTexts) {
  const TemporaryFolder folder;
  folder.write("A.app/Contents/Info.plist",
               "{ CFBundleIdentifier = \"com.example.a\"; CFBundleVersion = 7; }");
  folder.write("A.app/Contents/Resources/de.lproj/Updates.strings", "\"OK\" = \"Gut\";");
  folder.write("A.app/Contents/Resources/en.lproj/Updates.strings", "\"OK\" = \"Fine\";");
  folder.write("A.app/Contents/Resources/fr.lproj/Updates.strings", "damaged {{{");
  folder.write("B.app/Contents/Info.plist", "damaged {{{");
  folder.write("file", "");
  const auto bundles = makeSystemBundleLoader(makeSystemFileSystem());
  EXPECT_EQ(bundles->bundleAt(folder / "A.app")->bundleIdentifier(), "com.example.a");
  EXPECT_EQ(bundles->bundleAt(folder / "B.app")->bundleIdentifier(), std::nullopt);
  EXPECT_FALSE(bundles->bundleAt(folder / "file"));
  EXPECT_FALSE(bundles->bundleAt(folder / "missing"));

  const auto text = [&](const char* locale, const char* key) {
    ::setenv("LC_ALL", locale, 1);
    ::unsetenv("LANGUAGE");
    return bundles->localizedString(folder / "A.app", key, "Updates", "fallback");
  };
  EXPECT_EQ(text("de_AT.UTF-8", "OK"), "Gut");
  EXPECT_EQ(text("ja_JP.UTF-8", "OK"), "Fine");
  EXPECT_EQ(text("fr_FR.UTF-8", "OK"), "fallback");
  EXPECT_EQ(text("de_DE", "unknown"), "fallback");
  EXPECT_EQ(bundles->localizedString(folder / "A.app", "OK", "", "fallback"), "fallback");
  EXPECT_EQ(preferredUserLanguage(), "de");
  ::setenv("LC_ALL", "C", 1);
  EXPECT_EQ(preferredUserLanguage(), std::nullopt);
}

}  // namespace
}  // namespace pellam

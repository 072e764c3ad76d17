#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <set>
#include <thread>

#include "installer/failure_report.h"
#include "tests/support/signing_identity_files.h"
#include "tests/support/temporary_folder.h"

// The real helper and the real signing tool, as processes, on really signed bundles. Run by root, the helper
// works for the user nobody; otherwise for whoever runs the tests.

namespace pellam {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using testing_support::SigningAuthority;
using testing_support::TemporaryFolder;

constexpr int filesPerBundle = 60;

// Memory-backed where there is any: the helper writes volumes through to the disk, which others may keep
// busy.
fs::path memory() { return fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path(); }

uid_t launchUser() { return ::geteuid() == 0 ? 65534 : ::geteuid(); }
gid_t launchGroup() { return ::geteuid() == 0 ? 65534 : ::getegid(); }

class HelperTest : public testing::Test {
 public:
  static void SetUpTestSuite() {
    authorityFolder_ = std::make_unique<TemporaryFolder>(memory());
    authority_ = std::make_unique<SigningAuthority>(authorityFolder_->path() / "vendor");
    authority_->issue("good", "/OU=TEAM");
    authority_->issue("other", "/OU=OTHER");
  }
  static void TearDownTestSuite() {
    authority_.reset();
    authorityFolder_.reset();
  }

  void SetUp() override {
    fs::permissions(folder_.path(), fs::perms(0755));
    makeBundle(installed_, "1");
    fs::create_directories(folder_ / "home");
    giveAway(folder_ / "home");
  }

  // A signed bundle whose every file tells its version, and which tells who started it. Each kind is signed
  // once and then copied.
  static void makeBundle(const fs::path& bundle, const std::string& version,
                         const std::string& signer = "good",
                         const std::string& identifier = "com.example.editor") {
    const fs::path pattern = authorityFolder_->path() / (version + signer + identifier + ".app");
    if (!fs::exists(pattern)) makePattern(pattern, version, signer, identifier);
    fs::create_directories(bundle.parent_path());
    fs::copy(pattern, bundle, fs::copy_options::recursive);
    giveAway(bundle);
  }
  static void makePattern(const fs::path& bundle, const std::string& version, const std::string& signer,
                          const std::string& identifier) {
    const fs::path contents = bundle / "Contents";
    write(
        contents / "Info.plist",
        "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" + identifier +
            "</string><key>CFBundleExecutable</key><string>Main</string><key>CFBundleVersion</key><string>" +
            version + "</string></dict></plist>");
    write(contents / "MacOS/Main",
          "#!/bin/sh\necho " + version + " by $(id -u) >> \"$(dirname \"$0\")/../../../../home/started\"\n");
    fs::permissions(contents / "MacOS/Main", fs::perms(0755));
    for (int index = 0; index < filesPerBundle; ++index) {
      write(contents / "Resources" / std::to_string(index % 7) / std::to_string(index), version);
    }
    fs::copy_file(PELLAM_INSTALLER, contents / "MacOS/PellamUpdateInstaller");
    fs::copy_file(PELLAM_CODESIGN, contents / "MacOS/pellam-codesign");
    fs::copy_file(authority_->anchors(), contents / "Resources/CodeSigningAnchors.pem");
    const std::string command = std::string(PELLAM_CODESIGN) + " --sign " +
                                authority_->certificate(signer).string() + " --key " +
                                authority_->key(signer).string() + " '" + bundle.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  static void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }
  static void giveAway(const fs::path& tree) {
    if (::geteuid() != 0) return;
    ASSERT_EQ(::lchown(tree.c_str(), launchUser(), launchGroup()), 0);
    for (const auto& entry : fs::recursive_directory_iterator(tree)) {
      ASSERT_EQ(::lchown(entry.path().c_str(), launchUser(), launchGroup()), 0);
    }
  }

  // The staged bundle in a fresh attempt folder.
  fs::path stage(const std::string& version, const fs::path& volume, const std::string& signer = "good",
                 const std::string& identifier = "com.example.editor") {
    fs::path staged = volume / "SeamlessInstaller/0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11/Extracted/Editor.app";
    fs::remove_all(volume / "SeamlessInstaller");
    makeBundle(staged, version, signer, identifier);
    giveAway(volume / "SeamlessInstaller");
    return staged;
  }

  pid_t start(const fs::path& staged, pid_t host = 0x3FFFFFFF) {
    const std::vector<std::string> arguments = {helper_.string(),
                                                "--staged-app",
                                                staged.string(),
                                                "--installed-app",
                                                installed_.string(),
                                                "--host-pid",
                                                std::to_string(host),
                                                "--bundle-id",
                                                "com.example.editor",
                                                "--app-version",
                                                "1",
                                                "--app-build",
                                                "1",
                                                "--allows-same-build-replacement",
                                                "0",
                                                "--expected-team-id",
                                                "TEAM",
                                                "--launch-user-id",
                                                std::to_string(launchUser()),
                                                "--launch-group-id",
                                                std::to_string(launchGroup()),
                                                "--launch-user-name",
                                                "somebody",
                                                "--launch-user-home",
                                                (folder_ / "home").string(),
                                                "--failure-report-url",
                                                report().string()};
    std::vector<char*> vector;
    vector.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) vector.push_back(const_cast<char*>(argument.c_str()));
    vector.push_back(nullptr);
    pid_t child = 0;
    EXPECT_EQ(::posix_spawn(&child, helper_.c_str(), nullptr, nullptr, vector.data(), environ), 0);
    return child;
  }
  static int waitFor(pid_t child) {
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  [[nodiscard]] fs::path started() const { return folder_ / "home/started"; }
  [[nodiscard]] fs::path report() const {
    return folder_ /
           "home/Library/Application Support/com.example.editor/SeamlessInstaller/"
           "PellamUpdateInstallerFailure.plist";
  }
  // The application starts some time after the helper has asked for it.
  [[nodiscard]] std::string whatWasStarted() const {
    for (int wait = 0; wait < 500; ++wait) {
      std::string text = TemporaryFolder::read(started());
      if (!text.empty()) return text;
      std::this_thread::sleep_for(milliseconds(10));
    }
    return "nothing";
  }
  static std::string startLine(const std::string& version) {
    return version + " by " + std::to_string(launchUser()) + "\n";
  }
  // The version that every file of the installed bundle tells; "" when they disagree or some are missing.
  [[nodiscard]] std::string installedVersion() const {
    std::set<std::string> versions;
    for (int index = 0; index < filesPerBundle; ++index) {
      versions.insert(TemporaryFolder::read(installed_ / "Contents/Resources" / std::to_string(index % 7) /
                                            std::to_string(index)));
    }
    const std::string verify = std::string(PELLAM_CODESIGN) + " --verify --strict --deep --anchors " +
                               authority_->anchors().string() + " '" + installed_.string() + "' 2>/dev/null";
    return versions.size() == 1 && std::system(verify.c_str()) == 0 ? *versions.begin() : "";
  }

  static std::unique_ptr<TemporaryFolder> authorityFolder_;
  static std::unique_ptr<SigningAuthority> authority_;
  TemporaryFolder folder_{memory()};
  fs::path installed_ = folder_ / "Apps/Editor.app";
  fs::path helper_ = installed_ / "Contents/MacOS/PellamUpdateInstaller";
};

std::unique_ptr<TemporaryFolder> HelperTest::authorityFolder_;
std::unique_ptr<SigningAuthority> HelperTest::authority_;

TEST_F(HelperTest, ReplacesAndStartsTheNewVersionAsTheUser) {
  EXPECT_EQ(waitFor(start(stage("2", folder_.path()))), 0);
  EXPECT_EQ(whatWasStarted(), startLine("2"));
  EXPECT_EQ(installedVersion(), "2");
  EXPECT_TRUE(fs::is_empty(folder_ / "SeamlessInstaller"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "Apps"), fs::directory_iterator()), 1);
  EXPECT_FALSE(fs::exists(report()));
}

TEST_F(HelperTest, WaitsForTheHostToEnd) {
  const fs::path staged = stage("2", folder_.path());
  pid_t host = 0;
  const char* sleep[] = {"sleep", "0.7", nullptr};
  ASSERT_EQ(::posix_spawnp(&host, "sleep", nullptr, nullptr, const_cast<char**>(sleep), environ), 0);
  const pid_t helper = start(staged, host);
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_TRUE(fs::exists(staged));
  EXPECT_EQ(installedVersion(), "1");
  (void)waitFor(host);
  EXPECT_EQ(waitFor(helper), 0);
  EXPECT_EQ(installedVersion(), "2");
}

TEST_F(HelperTest, RefusesKeepsAndStartsTheOldVersionAndReports) {
  const struct {
    const char* name;
    std::function<fs::path(HelperTest&)> arrange;
    int status;
    const char* report;
  } cases[] = {
      {"another team", [](HelperTest& t) { return t.stage("2", t.folder_.path(), "other"); }, 94,
       "teamIdentifierMismatch: OrvoAppBundleCodeSignatureValidator: team identifier mismatch "
       "expectedTeamID=TEAM "
       "actualTeamID=OTHER stagedApp="},
      {"not newer", [](HelperTest& t) { return t.stage("0", t.folder_.path()); }, 95,
       "nonNewerBundleVersion: OrvoAppBundleCodeSignatureValidator: candidate build is older than host "},
      {"another application",
       [](HelperTest& t) { return t.stage("2", t.folder_.path(), "good", "com.example.other"); }, 93,
       "bundleIdentifierMismatch: "},
      {"changed after signing",
       [](HelperTest& t) {
         fs::path staged = t.stage("2", t.folder_.path());
         write(staged / "Contents/Resources/3/3", "evil");
         return staged;
       },
       98,
       "signatureValidationFailed: OrvoAppBundleCodeSignatureValidator: code signature verification failed "
       "status=1 "
       "output="},
      {"a link to a good bundle",
       [](HelperTest& t) {
         fs::create_directory_symlink(t.stage("2", t.folder_.path()), t.folder_ / "Link.app");
         return t.folder_ / "Link.app";
       },
       102, "replacementFailed"},
  };
  for (const auto& row : cases) {
    fs::remove(started());
    EXPECT_EQ(waitFor(start(row.arrange(*this))), row.status) << row.name;
    EXPECT_EQ(whatWasStarted(), startLine("1")) << row.name;
    EXPECT_EQ(installedVersion(), "1") << row.name;
    const auto bytes = makeSystemFileSystem()->readFile(report());
    const std::string text = OrvoAppBundleUpdateFailureReport::decode(bytes.span()).errorDescription;
    EXPECT_EQ(text.substr(0, std::string(row.report).size()), row.report) << row.name;
    struct stat status {};
    ASSERT_EQ(::stat(report().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, launchUser()) << row.name;
    fs::remove(report());
  }
}

}  // namespace
}  // namespace pellam

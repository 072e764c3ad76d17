#include <gtest/gtest.h>

#include <system_error>

#include "installer/interrupted_replacement_recovery.h"
#include "installer/replacement_executor.h"
#include "pellam/installer_error.h"
#include "tests/support/forwarding_file_system.h"
#include "tests/support/replacement_fakes.h"

// Every step of a replacement is made to fail, and the process is killed before and after every step.
// Whatever happens, the installed application is afterwards the old one or the new one, whole.

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;

enum class Fault { fail, killBefore, killAfter };

// The process is gone. Not a std::exception, so that no clean-up code runs after it.
struct Killed {};

// Counts every operation that changes the disk and interferes with one of them.
class FaultyDisk final : public ForwardingFileSystem {
 public:
  void writeFile(const Path& path, std::span<const std::uint8_t> bytes) override {
    step([&] { ForwardingFileSystem::writeFile(path, bytes); });
  }
  void writeFileAtomically(const Path& path, std::span<const std::uint8_t> bytes) override {
    step([&] { ForwardingFileSystem::writeFileAtomically(path, bytes); });
  }
  void createDirectory(const Path& path) override {
    step([&] { ForwardingFileSystem::createDirectory(path); });
  }
  void removeItem(const Path& path) override {
    step([&] { ForwardingFileSystem::removeItem(path); });
  }
  void moveItem(const Path& source, const Path& destination) override {
    step([&] { ForwardingFileSystem::moveItem(source, destination); });
  }
  void copyItem(const Path& source, const Path& destination) override {
    step([&] { ForwardingFileSystem::copyItem(source, destination); });
  }
  void changeOwner(const Path& path, std::uint32_t user, std::uint32_t group) override {
    step([&] { ForwardingFileSystem::changeOwner(path, user, group); });
  }
  void synchronizeVolume(const Path& path) override {
    step([&] { ForwardingFileSystem::synchronizeVolume(path); });
  }
  int removeQuarantineAttribute(const Path& path) override {
    int result = 0;
    try {
      step([&] { result = ForwardingFileSystem::removeQuarantineAttribute(path); });
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    return result;
  }
  FileAttributes attributes(const Path& path) const override {
    FileAttributes attributes = ForwardingFileSystem::attributes(path);
    if (!otherVolume.empty() && path.string().starts_with(otherVolume.string()))
      attributes.fileSystemNumber = 999;
    return attributes;
  }

  Path otherVolume;
  int steps = 0;
  int faultyStep = 0;  // counted from 1; 0: none
  Fault fault = Fault::fail;

 private:
  void step(const std::function<void()>& operation) {
    const bool isFaulty = ++steps == faultyStep;
    if (isFaulty && fault == Fault::killBefore) throw Killed();
    if (isFaulty && fault == Fault::fail) throw std::system_error(EIO, std::generic_category(), "injected");
    try {
      operation();
    } catch (const std::system_error&) {
      if (!isFaulty) throw;
    }
    if (isFaulty) throw Killed();
  }
};

const std::string attempt = "SeamlessInstaller/0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11";

struct Scenario {
  const char* name;
  bool stagedOnAnotherVolume;
  std::vector<bool> relaunches;  // what the relauncher answers
};

const Scenario scenarios[] = {
    {"same volume", false, {}},
    {"another volume", true, {}},
    {"relaunch refused", false, {false, true}},
    {"another volume, relaunch refused", true, {false, true}},
};

// A bundle's content as text, to be compared.
std::string contentOf(const fs::path& bundle) {
  if (!fs::is_directory(fs::symlink_status(bundle))) return "no bundle";
  std::map<std::string, std::string> entries;
  for (const auto& entry : fs::recursive_directory_iterator(bundle)) {
    const std::string name = entry.path().lexically_relative(bundle).string();
    entries[name] = entry.is_regular_file() ? TemporaryFolder::read(entry.path()) : "folder";
  }
  std::string text;
  for (const auto& [name, content] : entries) text.append(name).append("=").append(content).append(";");
  return text;
}

struct World {
  explicit World(const Scenario& scenario) {
    for (const char* file : {"Contents/Info.plist", "Contents/MacOS/Editor", "Contents/Resources/a/b"}) {
      folder.write(fs::path("Apps/Editor.app") / file, "old");
      folder.write(fs::path(attempt) / "Extracted/Editor.app" / file, "new");
    }
    folder.write("Apps/Editor.app/Contents/only-old", "old");
    oldContent = contentOf(installed);
    newContent = contentOf(folder / (attempt + "/Extracted/Editor.app"));
    if (scenario.stagedOnAnotherVolume) disk->otherVolume = folder / "SeamlessInstaller";
    relauncher->answers = scenario.relaunches;
  }

  // One helper process. True when it was killed.
  bool runHelper() {
    OrvoAppBundleReplacementRequest request;
    request.stagedApplicationURL = folder / (attempt + "/Extracted/Editor.app");
    request.installedApplicationURL = installed;
    OrvoAppBundleReplacementExecutor executor({.fileSystem = disk,
                                               .relauncher = relauncher,
                                               .privilegeChecker = std::make_shared<ScriptedPrivilege>(),
                                               .identifiers = identifiers});
    try {
      recoverInterruptedReplacement(*disk, installed, [](const std::string&) {});
      (void)executor.executeReplacement(request);
    } catch (const Killed&) {
      return true;
    } catch (const OrvoUpdateInstallerError&) {
      // A failure is an ordinary end.
    }
    return false;
  }

  [[nodiscard]] std::string whatIsInstalled() const {
    std::string content = contentOf(installed);
    if (content == oldContent) return "old";
    if (content == newContent) return "new";
    return content;
  }
  [[nodiscard]] std::vector<std::string> besideInstalled() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder / "Apps")) {
      if (entry.path() != installed) names.push_back(entry.path().filename());
    }
    return names;
  }

  // Hundreds of runs, each of which writes its work through to the disk: not on a real one.
  TemporaryFolder folder{fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path()};
  fs::path installed = folder / "Apps/Editor.app";
  std::shared_ptr<FaultyDisk> disk = std::make_shared<FaultyDisk>();
  std::shared_ptr<RecordingRelauncher> relauncher = std::make_shared<RecordingRelauncher>();
  std::shared_ptr<CountingIdentifiers> identifiers = std::make_shared<CountingIdentifiers>();
  std::string oldContent;
  std::string newContent;
};

bool isWhole(const std::string& state) { return state == "old" || state == "new"; }

int stepsOf(const Scenario& scenario) {
  World world(scenario);
  EXPECT_FALSE(world.runHelper()) << scenario.name;
  return world.disk->steps;
}

TEST(FaultMatrix, AFailureOfAnyStepLeavesAWholeApplication) {
  for (const Scenario& scenario : scenarios) {
    const int steps = stepsOf(scenario);
    ASSERT_GT(steps, 5) << scenario.name;
    for (int step = 1; step <= steps; ++step) {
      World world(scenario);
      world.disk->faultyStep = step;
      EXPECT_FALSE(world.runHelper());
      EXPECT_TRUE(isWhole(world.whatIsInstalled()))
          << scenario.name << ", failing step " << step << ": " << world.whatIsInstalled();
      // The user is never left without the application running.
      EXPECT_FALSE(world.relauncher->relaunched.empty()) << scenario.name << ", failing step " << step;
    }
  }
}

TEST(FaultMatrix, AHelperKilledAnywhereLeavesWhatTheNextOnePutsRight) {
  for (const Scenario& scenario : scenarios) {
    const int steps = stepsOf(scenario);
    int between = 0;
    for (const Fault fault : {Fault::killBefore, Fault::killAfter}) {
      for (int step = 1; step <= steps; ++step) {
        World world(scenario);
        world.disk->faultyStep = step;
        world.disk->fault = fault;
        EXPECT_TRUE(world.runHelper()) << scenario.name << " step " << step << " of " << steps;
        const std::string state = world.whatIsInstalled();
        const std::string where = std::string(scenario.name) + ", killed at step " + std::to_string(step);
        // Between the two renames there is no application; a mixture there never is.
        EXPECT_TRUE(isWhole(state) || state == "no bundle") << where << ": " << state;
        if (state == "no bundle") ++between;
        world.disk->faultyStep = 0;
        recoverInterruptedReplacement(*world.disk, world.installed, [](const std::string&) {});
        EXPECT_TRUE(isWhole(world.whatIsInstalled())) << where << ", after the recovery";
        // A second helper carries the update out when there is still something staged.
        world.relauncher->answers.clear();
        const bool staged = fs::exists(world.folder / (attempt + "/Extracted/Editor.app"));
        EXPECT_FALSE(world.runHelper());
        EXPECT_TRUE(isWhole(world.whatIsInstalled())) << where << ", after the next helper";
        EXPECT_TRUE(!staged || world.whatIsInstalled() == "new") << where;
        for (const std::string& name : world.besideInstalled()) {
          EXPECT_EQ(name.find("incoming"), std::string::npos) << where << ": " << name;
        }
      }
    }
    // The matrix does reach the dangerous moment.
    EXPECT_GT(between, 0) << scenario.name;
  }
}

TEST(FaultMatrix, NegativeControlAReplacementFileByFileIsCaught) {
  // What a careless replacement would do, under the same faults: the matrix must see the mixtures.
  int mixtures = 0;
  for (int step = 1; step <= 6; ++step) {
    World world(scenarios[0]);
    world.disk->faultyStep = step;
    world.disk->fault = Fault::killBefore;
    try {
      for (const char* file : {"Contents/Info.plist", "Contents/MacOS/Editor", "Contents/Resources/a/b"}) {
        world.disk->removeItem(world.installed / file);
        world.disk->moveItem(world.folder / (attempt + "/Extracted/Editor.app") / file,
                             world.installed / file);
      }
    } catch (const Killed&) {
    }
    if (!isWhole(world.whatIsInstalled())) ++mixtures;
  }
  EXPECT_EQ(mixtures, 5);
}

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

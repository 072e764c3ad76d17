#include "installer/replacement_checks.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "pellam/installer_error.h"
#include "tests/support/forwarding_file_system.h"
#include "tests/support/replacement_fakes.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;

constexpr std::uint32_t nobody = 65534;
constexpr std::uint32_t somebody = 12345;

// Runs the question in a process of another user; true when it answered true.
bool asUser(std::uint32_t user, const std::function<bool()>& question) {
  const pid_t child = ::fork();
  if (child == 0) {
    const gid_t group = user;
    if (::setgroups(1, &group) != 0 || ::setgid(group) != 0 || ::setuid(user) != 0) ::_exit(3);
    ::_exit(question() ? 0 : 1);
  }
  int status = 0;
  if (::waitpid(child, &status, 0) != child || !WIFEXITED(status)) ADD_FAILURE() << "the child crashed";
  EXPECT_LE(WEXITSTATUS(status), 1) << "the child could not become the user";
  return WEXITSTATUS(status) == 0;
}

// Scripted owners: what changeOwner does, without needing the right to do it.
class ScriptedOwners final : public ForwardingFileSystem {
 public:
  struct Owner {
    std::optional<std::uint32_t> user;
    std::optional<std::uint32_t> group;
  };
  FileAttributes attributes(const Path& path) const override {
    FileAttributes attributes = ForwardingFileSystem::attributes(path);
    const auto owner = owners.find(path.filename().string());
    attributes.ownerID = owner == owners.end() ? 501 : owner->second.user;
    attributes.groupID = owner == owners.end() ? 20 : owner->second.group;
    return attributes;
  }
  void changeOwner(const Path& path, std::uint32_t user, std::uint32_t group) override {
    changes.push_back(path.filename().string() + " " + std::to_string(user) + ":" + std::to_string(group));
    if (std::find(refused.begin(), refused.end(), changes.back()) != refused.end()) {
      throw std::system_error(EPERM, std::generic_category(), path.string());
    }
  }
  void enumerate(const Path& path, EnumerationOptions options,
                 const std::function<EnumerationStep(const Path&)>& visitor) const override {
    if (cannotEnumerate) throw std::system_error(EACCES, std::generic_category(), path.string());
    ForwardingFileSystem::enumerate(path, options, visitor);
  }
  std::map<std::string, Owner> owners;
  std::vector<std::string> refused;
  std::vector<std::string> changes;
  bool cannotEnumerate = false;
};

TEST(OwnershipMatcher, ChangesWhatItMayAndStopsWhereItShould) {
  using Changes = std::vector<std::string>;
  const struct {  // NOLINT(clang-analyzer-optin.performance.Padding)
    const char* name;
    ScriptedOwners::Owner installed;
    Changes refused;
    bool cannotEnumerate;
    Changes changes;
    bool fails;
  } cases[] = {
      {"the same owner: nothing inside is looked at", {501, 20}, {}, true, {}, false},
      {"all", {0, 80}, {}, false, {"New.app 0:80", "a 0:80", "link 0:80"}, false},
      {"group refused", {501, 80}, {"New.app 501:80"}, false, {"New.app 501:80"}, false},
      {"owner alone",
       {0, 80},
       {"New.app 0:80"},
       false,
       {"New.app 0:80", "New.app 0:20", "a 0:20", "link 0:20"},
       false},
      {"both refused",
       {0, 80},
       {"New.app 0:80", "New.app 0:20"},
       false,
       {"New.app 0:80", "New.app 0:20"},
       true},
      {"an item refused", {0, 80}, {"a 0:80"}, false, {"New.app 0:80", "a 0:80"}, true},
      {"not enumerable", {0, 80}, {}, true, {"New.app 0:80"}, true},
      {"no owner", {std::nullopt, 80}, {}, false, {}, true},
      {"no group", {0, std::nullopt}, {}, false, {}, true},
  };
  for (const auto& row : cases) {
    const TemporaryFolder folder;
    folder.write("New.app/a", "");
    fs::create_symlink("/", folder / "New.app/link");
    fs::create_directory(folder / "Old.app");
    const auto files = std::make_shared<ScriptedOwners>();
    files->owners["Old.app"] = row.installed;
    files->refused = row.refused;
    files->cannotEnumerate = row.cannotEnumerate;
    OrvoAppBundleReplacementOwnershipMatcher matcher(files, std::make_shared<CountingIdentifiers>());
    std::string error = "none";
    try {
      matcher.matchOwnerAndGroupOfItem(folder / "New.app/", folder / "Old.app/");
    } catch (const OrvoUpdateInstallerError& thrown) {
      error = thrown.caseName();
    }
    EXPECT_EQ(error, row.fails ? "replacementFailed" : "none") << row.name;
    EXPECT_EQ(files->changes, row.changes) << row.name;
  }
}

TEST(OwnershipMatcher, AMissingItemIsAReplacementFailure) {
  const TemporaryFolder folder;
  folder.write("there", "");
  OrvoAppBundleReplacementOwnershipMatcher matcher(makeSystemFileSystem(),
                                                   std::make_shared<CountingIdentifiers>());
  const auto match = [&](const char* root, const char* target) {
    try {
      matcher.matchOwnerAndGroupOfItem(folder / root, folder / target);
    } catch (const OrvoUpdateInstallerError& error) {
      return std::string(error.caseName());
    }
    return std::string("none");
  };
  EXPECT_EQ(match("there", "missing"), "replacementFailed");
  EXPECT_EQ(match("missing", "there"), "replacementFailed");
  EXPECT_EQ(match("there", "there"), "none");
}

TEST(OwnershipMatcher, AsRootReownsEverythingAndFollowsNoLink) {
  if (::geteuid() != 0) GTEST_SKIP() << "giving files away needs root";
  const TemporaryFolder folder;
  const fs::path outside = folder.write("outside/file", "");
  folder.write("New.app/a/b", "");
  fs::create_directory_symlink(folder / "outside", folder / "New.app/link");
  fs::create_directory(folder / "Old.app");
  ASSERT_EQ(::chown((folder / "Old.app").c_str(), somebody, nobody), 0);
  OrvoAppBundleReplacementOwnershipMatcher matcher(makeSystemFileSystem(),
                                                   std::make_shared<CountingIdentifiers>());
  matcher.matchOwnerAndGroupOfItem(folder / "New.app", folder / "Old.app");
  for (const char* name : {"New.app", "New.app/a", "New.app/a/b", "New.app/link"}) {
    struct stat status {};
    ASSERT_EQ(::lstat((folder / name).c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, somebody) << name;
    EXPECT_EQ(status.st_gid, nobody) << name;
  }
  struct stat status {};
  ASSERT_EQ(::stat(outside.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 0U);
  EXPECT_TRUE(matcher.processCanMatchInstalledOwnership(folder / "Old.app"));
}

TEST(ReplacementChecks, AnOrdinaryUserCannotMatchAnotherUsersBundle) {
  if (::geteuid() != 0) GTEST_SKIP() << "becoming another user needs root";
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  fs::create_directories(folder / "shared/Old.app");
  fs::create_directories(folder / "shared/Mine.app");
  fs::create_directories(folder / "closed/Old.app");
  fs::permissions(folder / "shared", fs::perms(0777));
  ASSERT_EQ(::chown((folder / "shared/Mine.app").c_str(), nobody, nobody), 0);
  const auto files = makeSystemFileSystem();
  const auto identifiers = makeSystemUUIDGenerator();
  OrvoAppBundleReplacementOwnershipMatcher matcher(files, identifiers);
  OrvoAppBundleReplacementWriteProbe probe(files, identifiers);
  // A writable folder is not enough: the bundle in it belongs to somebody else.
  EXPECT_TRUE(asUser(nobody, [&] { return probe.destinationParentIsWritable(folder / "shared/Old.app/"); }));
  EXPECT_FALSE(
      asUser(nobody, [&] { return matcher.processCanMatchInstalledOwnership(folder / "shared/Old.app"); }));
  EXPECT_TRUE(
      asUser(nobody, [&] { return matcher.processCanMatchInstalledOwnership(folder / "shared/Mine.app"); }));
  EXPECT_FALSE(asUser(nobody, [&] { return probe.destinationParentIsWritable(folder / "closed/Old.app"); }));
  EXPECT_FALSE(asUser(nobody, [&] { return matcher.processCanMatchInstalledOwnership(folder / "missing"); }));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder / "shared"), fs::directory_iterator()), 2);
}

class Probe : public ForwardingFileSystem {
 public:
  void writeFileAtomically(const Path& path, std::span<const std::uint8_t> bytes) override {
    written = path;
    size = bytes.size();
    if (cannotSynchronize) throw std::system_error(EIO, std::generic_category());
  }
  void removeItem(const Path& path) override {
    removed = path;
    throw std::system_error(EACCES, std::generic_category());
  }
  Path written;
  Path removed;
  std::size_t size = 1;
  bool cannotSynchronize = false;  // which is found out when the file is there
};

TEST(WriteProbe, WritesAnEmptyFileBesideTheBundle) {
  const auto files = std::make_shared<Probe>();
  OrvoAppBundleReplacementWriteProbe probe(files, std::make_shared<CountingIdentifiers>());
  EXPECT_TRUE(probe.destinationParentIsWritable("/Applications/Editor.app/"));
  EXPECT_EQ(files->written, "/Applications/orvo-update-write-00000000-0000-4000-8000-000000000001.tmp");
  EXPECT_EQ(files->removed, files->written);
  EXPECT_EQ(files->size, 0U);
  files->cannotSynchronize = true;
  EXPECT_FALSE(probe.destinationParentIsWritable("/Applications/Editor.app/"));
  EXPECT_EQ(files->written, "/Applications/orvo-update-write-00000000-0000-4000-8000-000000000002.tmp");
  EXPECT_EQ(files->removed, files->written);
}

TEST(PrivilegeChecker, OnlyTheEffectiveUserRootIsPrivileged) {
  const auto process = std::make_shared<ScriptedProcess>();
  OrvoAppBundleReplacementProcessPrivilegeChecker checker(process);
  EXPECT_FALSE(checker.processCanReplaceNonWritableDestination());
  process->effectiveUser = 0;
  EXPECT_TRUE(checker.processCanReplaceNonWritableDestination());
}

}  // namespace
}  // namespace pellam

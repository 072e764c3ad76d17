#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "installer/relaunching.h"
#include "installer/replacement_checks.h"
#include "platform/child_process.h"
#include "platform/identifiers.h"
#include "platform/process_information.h"
#include "tests/support/fake_identifiers.h"
#include "tests/support/fake_tools.h"
#include "tests/support/temporary_folder.h"

// Substitutes for the installer's collaborators that write down what they were asked.
namespace pellam::testing_support {

struct RecordingRelauncher final : OrvoAppBundleReplacementRelaunching {
  bool relaunchApplication(const std::filesystem::path& application) override {
    relaunched.push_back(application);
    if (onRelaunch) onRelaunch();
    const bool answer = answers.empty() || answers.front();
    if (!answers.empty()) answers.erase(answers.begin());
    return answer;
  }
  std::vector<bool> answers;  // true once they are used up
  std::vector<std::filesystem::path> relaunched;
  std::function<void()> onRelaunch;
};

struct ScriptedPrivilege final : OrvoAppBundleReplacementPrivilegeChecking {
  bool processCanReplaceNonWritableDestination() override {
    ++questions;
    return answer;
  }
  bool answer = false;
  int questions = 0;
};

struct ScriptedPermission final : OrvoAppBundleReplacementPermissionChecking {
  bool destinationParentIsWritable(const std::filesystem::path&) override { return answer; }
  bool answer = true;
};

struct ScriptedProcess final : ProcessInformation {
  std::int32_t processIdentifier() const override { return 1; }
  std::uint32_t userID() const override { return effectiveUser; }
  std::uint32_t effectiveUserID() const override { return effectiveUser; }
  std::uint32_t groupID() const override { return effectiveUser; }
  std::string userName() const override { return "user"; }
  std::string homeDirectory() const override { return "/home/user"; }
  OperatingSystemVersion operatingSystemVersion() const override { return system; }
  bool waitForProcessToEnd(std::int32_t process, std::chrono::milliseconds limit) const override {
    waitedFor.emplace_back(process, limit);
    if (cannotWait) throw std::system_error(EMFILE, std::generic_category(), "scripted");
    return hostEnds;
  }
  std::uint32_t effectiveUser = 501;
  OperatingSystemVersion system{13, 5, 0};
  bool hostEnds = true;
  bool cannotWait = false;
  mutable std::vector<std::pair<std::int32_t, std::chrono::milliseconds>> waitedFor;
};

// What a test bundle's Info.plist says; an empty value leaves the key out.
struct BundleFacts {
  std::string identifier = "com.example.editor";
  std::string version = "2.0";
  std::string build = "20";
  std::string minimumSystem = "";  // NOLINT(readability-redundant-string-init)
  std::string executable = "Editor";
};

inline std::filesystem::path writeBundle(const TemporaryFolder& folder, const std::filesystem::path& name,
                                         const BundleFacts& facts = {}) {
  std::string plist = "<plist version=\"1.0\"><dict>";
  const auto add = [&](const char* key, const std::string& value) {
    if (!value.empty()) plist += std::string("<key>") + key + "</key><string>" + value + "</string>";
  };
  add("CFBundleIdentifier", facts.identifier);
  add("CFBundleShortVersionString", facts.version);
  add("CFBundleVersion", facts.build);
  add("LSMinimumSystemVersion", facts.minimumSystem);
  add("CFBundleExecutable", facts.executable);
  folder.write(name / "Contents" / "Info.plist", plist + "</dict></plist>");
  folder.write(name / "Contents" / "MacOS" / "Editor", "binary " + facts.build);
  return folder / name;
}

}  // namespace pellam::testing_support

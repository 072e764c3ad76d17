#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/child_process.h"

namespace pellam::testing_support {

// Answers by the first argument of the call, else with `result`.
struct ScriptedTools final : ChildProcessRunning {
  ChildProcessResult run(const std::filesystem::path& executable,
                         const std::vector<std::string>& arguments) override {
    std::string call = executable.string();
    for (const std::string& argument : arguments) call += " " + argument;
    calls.push_back(call);
    if (onRun) onRun();
    const auto found = answers.find(arguments.empty() ? "" : arguments.front());
    return found == answers.end() ? result : found->second;
  }
  static ChildProcessResult ended(std::int32_t status, std::string output) {
    return {std::nullopt, status, std::move(output)};
  }
  static ChildProcessResult notStarted() {
    return {BridgedError{"NSPOSIXErrorDomain", 2, "No such file"}, 0, "x"};
  }
  ChildProcessResult result{};
  std::map<std::string, ChildProcessResult> answers;
  std::vector<std::string> calls;
  std::function<void()> onRun;
};

}  // namespace pellam::testing_support

#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "pellam/bridged_error.h"
#include "platform/authorization.h"
#include "platform/linux/jobs/jobs_agent.h"

namespace pellam {

// What an authorization stands for on this system.
struct PlatformAuthorization {
  std::map<std::string, std::string> prompts;  // what was told about each right, for the question to the user
  // Once the rights to the system's jobs were granted, one of the two: who uses them, or why nobody can.
  std::unique_ptr<JobsAgent> agent;
  std::optional<BridgedError> failure;
};

// The authorization calls with that program as the agent for jobs of the system; see JobsAgent.
[[nodiscard]] std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> makeSecurityAuthorizationClient(
    std::filesystem::path agentProgram);

}  // namespace pellam

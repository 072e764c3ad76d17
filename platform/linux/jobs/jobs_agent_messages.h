#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace pellam::jobs_agent {

// What an agent for jobs of the system and the process that has started it say to each other, over a socket
// that keeps messages apart. A message is a list of texts without NUL. The agent begins with "ready"; then
// each request gets one reply:
//
//     remove LABEL wait|at-once
//     submit LABEL NICE PROGRAM ARGUMENT...
//     done
//     failed DOMAIN CODE DESCRIPTION
//
// The reply to a successful "submit" has to be confirmed with "keep". Without it the agent removes the job
// again, because nobody has heard that it runs.
using Texts = std::vector<std::string>;

inline constexpr const char* agentArgument = "--system-jobs";
inline constexpr const char* ready = "ready";
inline constexpr const char* remove = "remove";
inline constexpr const char* waiting = "wait";
inline constexpr const char* atOnce = "at-once";
inline constexpr const char* submit = "submit";
inline constexpr const char* keep = "keep";
inline constexpr const char* done = "done";
inline constexpr const char* failed = "failed";

// False when the other side has gone or the message is larger than the socket takes.
[[nodiscard]] bool send(int socket, const Texts& message);

// Waits for the next message. Nothing when the other side has gone, or nothing came in time.
[[nodiscard]] std::optional<Texts> receive(int socket,
                                           std::optional<std::chrono::milliseconds> limit = std::nullopt);

}  // namespace pellam::jobs_agent

#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pellam/bridged_error.h"

namespace pellam {

struct ChildProcessResult {
  // Present when the child could not be started; the other fields then mean nothing.
  std::optional<BridgedError> launchError;
  // The exit status; for a child that a signal ended, the signal's number.
  std::int32_t terminationStatus = 0;
  // What the child wrote to standard output and standard error, in the order it arrived.
  std::string output;
};

// Runs the platform's command-line tools.
class ChildProcessRunning {
 public:
  virtual ~ChildProcessRunning() = default;
  // Starts the executable with the arguments as they are (no shell), standard input closed, both outputs in
  // one pipe, and blocks until it has exited and the pipe has ended. A tool path of the platform
  // ("/usr/bin/codesign", "/usr/bin/ditto") that the system does not have is answered by the counterpart that
  // the application carries. Any thread.
  [[nodiscard]] virtual ChildProcessResult run(const std::filesystem::path& executable,
                                               const std::vector<std::string>& arguments) = 0;
};

// `toolFolder` is the folder in which an application carries its counterparts of the platform's tools
// (Contents/MacOS of the bundle whose code this process trusts).
[[nodiscard]] std::shared_ptr<ChildProcessRunning> makeSystemChildProcessRunner(
    std::filesystem::path toolFolder);

}  // namespace pellam

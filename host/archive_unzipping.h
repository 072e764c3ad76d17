#pragma once

#include <memory>
#include <string>
#include <utility>

#include "foundation/diagnostic_log.h"
#include "launcher-protocol/diagnostic_text.h"
#include "platform/child_process.h"

namespace pellam {

// Unpacks a zip archive.
class OrvoUpdateArchiveUnzipping {
 public:
  virtual ~OrvoUpdateArchiveUnzipping() = default;
  // Blocks until the archive is unpacked. Every failure (tool missing, archive damaged or refused,
  // destination not writable) is false, without detail. Any thread but the main one.
  [[nodiscard]] virtual bool unzip(const std::string& archivePath, const std::string& destinationPath) = 0;
};

// Unpacks with the platform's "/usr/bin/ditto". The log is told why something was not unpacked. Stateless.
class OrvoUpdateSystemUnzipper final : public OrvoUpdateArchiveUnzipping {
 public:
  explicit OrvoUpdateSystemUnzipper(std::shared_ptr<ChildProcessRunning> processes,
                                    DiagnosticLog diagnosticLog = {})
      : processes_(std::move(processes)), diagnosticLog_(std::move(diagnosticLog)) {}
  [[nodiscard]] bool unzip(const std::string& archivePath, const std::string& destinationPath) override {
    const ChildProcessResult result =
        processes_->run("/usr/bin/ditto", {"-x", "-k", archivePath, destinationPath});
    if (!result.launchError && result.terminationStatus == 0) return true;
    const std::string reason = result.launchError ? "error=" + result.launchError->description
                                                  : "status=" + std::to_string(result.terminationStatus) +
                                                        " output=" + truncatedOutput(result.output);
    diagnosticLog_("Unable to unpack the archive path=" + archivePath + " " + reason);
    return false;
  }

 private:
  std::shared_ptr<ChildProcessRunning> processes_;
  DiagnosticLog diagnosticLog_;
};

}  // namespace pellam

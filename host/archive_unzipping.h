#pragma once

#include <memory>
#include <string>

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

// Unpacks with the platform's "/usr/bin/ditto". Stateless.
class OrvoUpdateSystemUnzipper final : public OrvoUpdateArchiveUnzipping {
 public:
  explicit OrvoUpdateSystemUnzipper(std::shared_ptr<ChildProcessRunning> processes)
      : processes_(std::move(processes)) {}
  [[nodiscard]] bool unzip(const std::string& archivePath, const std::string& destinationPath) override {
    const ChildProcessResult result =
        processes_->run("/usr/bin/ditto", {"-x", "-k", archivePath, destinationPath});
    return !result.launchError && result.terminationStatus == 0;
  }

 private:
  std::shared_ptr<ChildProcessRunning> processes_;
};

}  // namespace pellam

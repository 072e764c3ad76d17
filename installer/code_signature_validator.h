#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "foundation/diagnostic_log.h"
#include "installer/update_validation.h"
#include "pellam/property_list_value.h"
#include "pellam/version_comparator.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/process_information.h"

namespace pellam {

// Proves, in this order and stopping at the first failure, that a staged bundle is the right application, is
// not older than the installed one, can run on this system, has its main executable, carries an intact code
// signature and is signed by the team that the host demands. Every failure but an unreadable Info.plist
// writes one diagnostic line. Keeps no state; a failure leaves nothing behind. Blocks while the signing tool
// runs; any thread.
class OrvoAppBundleCodeSignatureValidator final : public OrvoAppBundleUpdateValidating {
 public:
  OrvoAppBundleCodeSignatureValidator(std::shared_ptr<FileSystem> fileSystem,
                                      std::shared_ptr<ChildProcessRunning> childProcesses,
                                      std::shared_ptr<ProcessInformation> processInformation,
                                      DiagnosticLog diagnosticLog)
      : fileSystem_(std::move(fileSystem)),
        childProcesses_(std::move(childProcesses)),
        processInformation_(std::move(processInformation)),
        diagnosticLog_(std::move(diagnosticLog)) {}

  void validateAppBundle(const std::filesystem::path& appBundle,
                         const OrvoAppBundleUpdateHostIdentity& hostIdentity) override;

  // Compares a minimum system version with the running one, number by number; pieces that are no number count
  // as 0. Descending when the required version is the newer one.
  [[nodiscard]] static ComparisonResult compareSystemVersion(std::string_view required,
                                                             const OperatingSystemVersion& current);
  // A tool's output for a message: trimmed, on one line, at most 500 characters and "...", "<empty>".
  [[nodiscard]] static std::string shortenedOutput(std::string_view output);

 private:
  struct CodesignResult {
    std::int32_t terminationStatus = 1;
    std::string output;
  };

  [[nodiscard]] PropertyListDictionary loadInfoPlist(const std::filesystem::path& appBundle) const;
  void validateBundleIdentifier(const PropertyListDictionary& info, const std::filesystem::path& appBundle,
                                const OrvoAppBundleUpdateHostIdentity& hostIdentity) const;
  void validateVersion(const PropertyListDictionary& info,
                       const OrvoAppBundleUpdateHostIdentity& hostIdentity) const;
  void validateMinimumSystemVersion(const PropertyListDictionary& info) const;
  void validateExecutable(const PropertyListDictionary& info, const std::filesystem::path& appBundle) const;
  void validateCodeSignature(const std::filesystem::path& appBundle) const;
  [[nodiscard]] std::string readTeamIdentifier(const std::filesystem::path& appBundle) const;
  [[nodiscard]] CodesignResult runCodesign(const std::vector<std::string>& arguments) const;
  void log(const std::string& message) const;

  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<ChildProcessRunning> childProcesses_;
  std::shared_ptr<ProcessInformation> processInformation_;
  DiagnosticLog diagnosticLog_;
};

}  // namespace pellam

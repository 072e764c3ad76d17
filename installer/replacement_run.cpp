#include "installer/replacement_run.h"

#include <exception>
#include <utility>

#include "foundation/item_path.h"
#include "installer/code_signature_validator.h"
#include "installer/exit_status.h"
#include "installer/failure_report.h"
#include "installer/interrupted_replacement_recovery.h"
#include "installer/private_staging.h"
#include "installer/replacement_executor.h"
#include "installer/staging_folder.h"
#include "launcher-protocol/diagnostic_text.h"
#include "pellam/installer_error.h"

namespace pellam {

namespace {

std::string nestedDescription(const std::exception& error) {
  try {
    std::rethrow_if_nested(error);
  } catch (const std::exception& nested) {
    return std::string(": ") + nested.what() + nestedDescription(nested);
  }
  return "";
}

std::string replacingAll(std::string text, const std::string& part, const std::string& replacement) {
  if (part.empty()) return text;
  for (std::size_t at = text.find(part); at != std::string::npos;
       at = text.find(part, at + replacement.size())) {
    text.replace(at, part.size(), replacement);
  }
  return text;
}

}  // namespace

std::string failureDescription(const std::exception& error,
                               const std::optional<std::string>& diagnosticLine) {
  const auto* own = dynamic_cast<const OrvoUpdateInstallerError*>(&error);
  std::string description = own != nullptr ? own->summary() : error.what();
  if (diagnosticLine) description += ": " + *diagnosticLine;
  return escapedLineBreaks(description + nestedDescription(error));
}

ReplacementRun::Outcome ReplacementRun::run(const HelperCommandLine& commandLine) {
  const OrvoAppBundleReplacementRequest& request = commandLine.request;
  const std::int32_t host = commandLine.hostProcessIdentifier;
  if (const std::optional<std::string> failure = waitForTheEndOf(host)) {
    collaborators_.systemLog(*failure);
    writeFailureReport(request, *failure);
    return {exit_status::hostStillRunning, failure};
  }
  if (collaborators_.refuseInterrupts) refusal_ = collaborators_.refuseInterrupts();
  putRight(request);
  std::optional<std::string> failure;
  try {
    replace(request, failure);
    collectLeftovers(request);
    return {exit_status::success, std::nullopt};
  } catch (const std::exception& error) {
    return {exitStatusFor(error), failure};
  }
}

// Where the folder has no locks nobody knows who else works there. An application that is missing is put back
// all the same, but nothing is removed.
void ReplacementRun::putRight(const OrvoAppBundleReplacementRequest& request) {
  FileSystem& files = *collaborators_.fileSystem;
  const std::filesystem::path installed = withoutTrailingSlash(request.installedApplicationURL);
  const std::filesystem::path folder = installed.parent_path();
  bool canLock = true;
  try {
    lock_ = files.lockFolder(folder, FolderUse::alone);
  } catch (const std::exception&) {
    canLock = false;
  }
  if (lock_ || !canLock) {
    (void)recoverInterruptedReplacement(files, installed, collaborators_.systemLog);
  }
  if (lock_) (void)collector().collectBeside(installed, LeftoverCollector::Backups::kept);
  lock_.reset();
  try {
    lock_ = files.lockFolder(folder, FolderUse::shared);
  } catch (const std::exception&) {
    // Nobody collects there either.
  }
}

void ReplacementRun::collectLeftovers(const OrvoAppBundleReplacementRequest& request) {
  const std::filesystem::path installed = withoutTrailingSlash(request.installedApplicationURL);
  lock_.reset();
  try {
    lock_ = collaborators_.fileSystem->lockFolder(installed.parent_path(), FolderUse::alone);
  } catch (const std::exception&) {
    return;
  }
  if (!lock_) return;
  (void)collector().collectBeside(installed, LeftoverCollector::Backups::removed);
  asLaunchUser(request, [&] {
    if (request.failureReportURL) (void)collector().collectReports(*request.failureReportURL);
    const auto attempt =
        seamlessInstallerAttemptRoot(withoutTrailingSlash(request.stagedApplicationURL).parent_path());
    if (attempt) (void)collector().collectAttempts(attempt->parent_path());
  });
}

LeftoverCollector ReplacementRun::collector() const {
  return LeftoverCollector({.fileSystem = collaborators_.fileSystem,
                            .clock = collaborators_.clock,
                            .log = collaborators_.systemLog});
}

// What went wrong, if anything did.
std::optional<std::string> ReplacementRun::waitForTheEndOf(std::int32_t host) {
  const std::string process = "pid=" + std::to_string(host);
  try {
    if (collaborators_.processInformation->waitForProcessToEnd(host, hostEndLimit)) return std::nullopt;
    return "the application is still running: " + process +
           " waitedSeconds=" + std::to_string(hostEndLimit.count());
  } catch (const std::exception& error) {
    return "unable to wait for the application to end: " + process + " error=" + error.what();
  }
}

void ReplacementRun::replace(const OrvoAppBundleReplacementRequest& request,
                             std::optional<std::string>& failure) {
  if (collaborators_.processInformation->effectiveUserID() != 0) {
    execute(request, withoutTrailingSlash(request.stagedApplicationURL), std::nullopt, failure);
    return;
  }
  try {
    replacePrivately(request, failure);
  } catch (const OrvoUpdateInstallerError& error) {
    // A bundle that was installed once and could not be started is not offered again.
    if (error.errorCase() == OrvoUpdateInstallerError::Case::relaunchFailed) {
      asLaunchUser(request, [&] { removeStaged(request); });
    }
    throw;
  }
  asLaunchUser(request, [&] {
    removeStaged(request);
    removeStagingFolder(*collaborators_.fileSystem, request.stagedApplicationURL);
  });
}

// The staging folder is the user's: a folder there that became a link meanwhile must not lead root's removal
// anywhere that the user could not remove from.
void ReplacementRun::asLaunchUser(const OrvoAppBundleReplacementRequest& request,
                                  const std::function<void()>& work) {
  const auto& user = request.launchUserContext;
  if (!user) {
    work();
    return;
  }
  try {
    collaborators_.effectiveUser->performAs(user->userIdentifier, user->groupIdentifier, work);
  } catch (const std::exception& error) {
    collaborators_.systemLog(std::string("Unable to clean up for the user: ") + error.what());
  }
}

void ReplacementRun::replacePrivately(const OrvoAppBundleReplacementRequest& request,
                                      std::optional<std::string>& failure) {
  OrvoAppBundleReplacementRequest own = request;
  std::optional<PrivateStaging> staging;
  std::optional<std::string> reason;
  try {
    staging.emplace(*collaborators_.fileSystem, *collaborators_.identifiers, request.stagedApplicationURL,
                    request.installedApplicationURL);
    own.stagedApplicationURL = staging->bundle();
  } catch (const std::exception& error) {
    // Without a private copy there is nothing that may be installed: the executor finds no staged bundle,
    // reports that and relaunches.
    own.stagedApplicationURL.clear();
    reason = std::string("unable to take the staged bundle over: ") + error.what();
    collaborators_.systemLog(*reason);
  }
  execute(own, withoutTrailingSlash(request.stagedApplicationURL), reason, failure);
}

void ReplacementRun::removeStaged(const OrvoAppBundleReplacementRequest& request) {
  try {
    collaborators_.fileSystem->removeItem(withoutTrailingSlash(request.stagedApplicationURL));
  } catch (const std::exception&) {
    // The host removes stale attempts later.
  }
}

void ReplacementRun::execute(const OrvoAppBundleReplacementRequest& request,
                             const std::filesystem::path& shown, std::optional<std::string> reasonInAdvance,
                             std::optional<std::string>& failure) {
  // A private copy is gone when somebody reads of it.
  const auto named = [&](const std::string& text) {
    return replacingAll(text, request.stagedApplicationURL.string(), shown.string());
  };
  const DiagnosticLog log = [&](const std::string& line) { collaborators_.systemLog(named(line)); };
  // The validator's line says what exactly was wrong; it belongs into the report as well.
  std::optional<std::string> validatorLine = std::move(reasonInAdvance);
  const auto makeValidator = [&]() -> std::unique_ptr<OrvoAppBundleUpdateValidating> {
    const DiagnosticLog validatorLog = [&](const std::string& line) {
      validatorLine = named(line);
      log(line);
    };
    return std::make_unique<OrvoAppBundleCodeSignatureValidator>(
        collaborators_.fileSystem, collaborators_.childProcesses, collaborators_.processInformation,
        validatorLog);
  };
  OrvoAppBundleReplacementExecutor executor({.fileSystem = collaborators_.fileSystem,
                                             .relauncher = collaborators_.relauncher,
                                             .privilegeChecker = collaborators_.privilegeChecker,
                                             .diagnosticLog = log,
                                             .identifiers = collaborators_.identifiers,
                                             .makeValidator = makeValidator});
  (void)executor.executeReplacement(request, [&](const std::exception& error) {
    failure = named(failureDescription(error, validatorLine));
    collaborators_.systemLog("replacement failed: " + *failure);
    writeFailureReport(request, *failure);
  });
}

void ReplacementRun::writeFailureReport(const OrvoAppBundleReplacementRequest& request,
                                        const std::string& description) {
  if (!request.failureReportURL) return;
  const Date now = collaborators_.clock->now();
  const auto write = [&](const std::optional<std::string>& attemptIdentifier) {
    OrvoAppBundleUpdateFailureReportStore store(collaborators_.fileSystem, collaborators_.clock);
    store.writeFailureReportAt(description, *request.failureReportURL, now, attemptIdentifier);
  };
  const auto writeAsLaunchUser = [&](const std::optional<std::string>& attemptIdentifier) {
    const auto& user = request.launchUserContext;
    if (!user) return write(attemptIdentifier);
    // In the user's home, with the user's rights: the user can read and remove the report, and nothing that
    // the user has put there leads a privileged process elsewhere.
    collaborators_.effectiveUser->performAs(user->userIdentifier, user->groupIdentifier,
                                            [&] { write(attemptIdentifier); });
  };
  try {
    try {
      writeAsLaunchUser(request.failureReportAttemptIdentifier);
    } catch (const std::exception& error) {
      // An identifier that makes no usable file name must not cost the whole report.
      collaborators_.systemLog(std::string("Unable to write the failure report of the attempt: ") +
                               error.what());
      writeAsLaunchUser(std::nullopt);
    }
  } catch (const std::exception& error) {
    collaborators_.systemLog(std::string("Unable to write the failure report: ") + error.what());
  }
}

}  // namespace pellam

#include "installer/quarantine_release.h"

#include <exception>
#include <optional>
#include <string>
#include <system_error>

namespace pellam {

namespace {

using Path = std::filesystem::path;

struct QuarantineReleaseFailure {
  Path itemURL;
  std::string errorDescription;
};

std::optional<QuarantineReleaseFailure> releaseItem(FileSystem& fileSystem, const Path& item) {
  const int error = fileSystem.removeQuarantineAttribute(item);
  if (error == 0) return std::nullopt;
  return QuarantineReleaseFailure{
      item, posixErrorName(error) + " (" + std::generic_category().message(error) + ")"};
}

}  // namespace

void releaseStagedAppFromQuarantineIfPossible(FileSystem& fileSystem, const Path& root,
                                              const DiagnosticLog& diagnosticLog) {
  std::optional<QuarantineReleaseFailure> first = releaseItem(fileSystem, root);
  try {
    fileSystem.enumerate(root, {}, [&](const Path& item) {
      std::optional<QuarantineReleaseFailure> failure = releaseItem(fileSystem, item);
      if (!first) first = std::move(failure);
      return EnumerationStep::descend;
    });
  } catch (const std::exception&) {
    if (!first) first = QuarantineReleaseFailure{root, "unable to enumerate staged app bundle"};
  }
  if (!first) return;
  diagnosticLog("Failed to release quarantine at " + root.string() +
                "; firstFailedItem=" + first->itemURL.string() + " error=" + first->errorDescription);
}

}  // namespace pellam

#include "installer/interrupted_replacement_recovery.h"

#include <exception>
#include <optional>
#include <string>

#include "foundation/item_path.h"
#include "installer/own_names.h"

namespace pellam {

namespace {

using Path = std::filesystem::path;

struct Candidate {
  Path path;
  bool isBackup = false;
  Date named = distantPast;  // when it got its name

  [[nodiscard]] bool isBetterThan(const Candidate& other) const {
    return isBackup != other.isBackup ? isBackup : named > other.named;
  }
};

std::optional<Candidate> candidateAt(const FileSystem& fileSystem, const Path& entry,
                                     const own_names::Beside& names) {
  const std::string name = entry.filename().string();
  const bool isBackup = names.isBackup(name);
  if (!isBackup && !names.isIncoming(name)) return std::nullopt;
  const FileAttributes attributes = fileSystem.attributes(entry);
  if (attributes.type != FileType::directory) return std::nullopt;
  // A privileged helper's folder has such a name, too, and holds the bundle.
  if (!isBackup && !fileSystem.itemExists(entry / "Contents" / "Info.plist")) return std::nullopt;
  const std::optional<Date> named =
      attributes.changeDate ? attributes.changeDate : attributes.modificationDate;
  return Candidate{entry, isBackup, named.value_or(distantPast)};
}

bool nothingIsAt(const FileSystem& fileSystem, const Path& path) {
  try {
    (void)fileSystem.attributes(path);
    return false;
  } catch (const std::exception&) {
    return !fileSystem.itemExists(path);
  }
}

}  // namespace

bool recoverInterruptedReplacement(FileSystem& fileSystem, const Path& installedURL,
                                   const DiagnosticLog& diagnosticLog) {
  const Path installed = withoutTrailingSlash(installedURL);
  try {
    if (!nothingIsAt(fileSystem, installed)) return false;
    const own_names::Beside names(installed);
    std::optional<Candidate> best;
    for (const Path& entry : fileSystem.contentsOfDirectory(installed.parent_path(), HiddenItems::included)) {
      const std::optional<Candidate> candidate = candidateAt(fileSystem, entry, names);
      if (candidate && (!best || candidate->isBetterThan(*best))) best = candidate;
    }
    if (!best) return false;
    diagnosticLog("Putting back the bundle of an interrupted replacement from " + best->path.string());
    fileSystem.moveItem(best->path, installed);
    return true;
  } catch (const std::exception& error) {
    diagnosticLog("Unable to look for an interrupted replacement at " + installed.string() + ": " +
                  error.what());
    return false;
  }
}

}  // namespace pellam

#include "installer/leftover_collector.h"

#include <chrono>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/hidden_name.h"
#include "foundation/item_path.h"
#include "foundation/uuid.h"
#include "installer/failure_report.h"
#include "installer/own_names.h"

namespace pellam {

namespace {

using Path = std::filesystem::path;

constexpr std::chrono::minutes writingTakesAtMost{10};

bool isProbe(std::string_view name, std::string_view prefix, std::string_view suffix) {
  if (!name.starts_with(prefix) || !name.ends_with(suffix)) return false;
  return name.size() > prefix.size() + suffix.size() &&
         isUUID(name.substr(prefix.size(), name.size() - prefix.size() - suffix.size()));
}

bool isWriteProbe(std::string_view name) {
  return isProbe(name, own_names::writeProbePrefix, own_names::writeProbeSuffix);
}

bool isRealFolder(const FileSystem& fileSystem, const Path& path) {
  try {
    return fileSystem.attributes(path).type == FileType::directory;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

int LeftoverCollector::collectBeside(const Path& installedURL, Backups backups) const {
  const Path installed = withoutTrailingSlash(installedURL);
  const own_names::Beside names(installed);
  const bool isInstalled = isRealFolder(*with_.fileSystem, installed);
  return collect(installed.parent_path(), [&](const std::string& name) {
    if (names.isBackup(name))
      return isInstalled && backups == Backups::removed ? Verdict::remove : Verdict::keep;
    if (names.isIncoming(name)) return isInstalled ? Verdict::remove : Verdict::keep;
    if (isWriteProbe(name)) return Verdict::removeOnceOld;
    const std::optional<ParsedHiddenName> hidden = parseHiddenName(name);
    if (!hidden || !(names.isOwn(hidden->name) || isWriteProbe(hidden->name))) return Verdict::keep;
    return hidden->purpose == HiddenName::beingRemoved ? Verdict::remove : Verdict::removeOnceOld;
  });
}

int LeftoverCollector::collectAttempts(const Path& folder) const {
  return collect(folder, [](const std::string& name) {
    const std::optional<ParsedHiddenName> hidden = parseHiddenName(name);
    const bool hasBeenRemoved = hidden && hidden->purpose == HiddenName::beingRemoved && isUUID(hidden->name);
    return hasBeenRemoved ? Verdict::remove : Verdict::keep;
  });
}

int LeftoverCollector::collectReports(const Path& report) const {
  return collect(report.parent_path(), [&](const std::string& name) {
    const std::optional<ParsedHiddenName> hidden = parseHiddenName(name);
    const bool isUnfinished = hidden && hidden->purpose == HiddenName::beingWritten &&
                              OrvoAppBundleUpdateFailureReportStore::isReportName(hidden->name, report);
    return isUnfinished ? Verdict::removeOnceOld : Verdict::keep;
  });
}

int LeftoverCollector::collectTemporary(const Path& folder, std::uint32_t ownerID) const {
  return collect(folder, [&](const std::string& name) {
    if (!belongsTo(folder / name, ownerID)) return Verdict::keep;
    if (isProbe(name, own_names::ownershipProbePrefix, "")) return Verdict::removeOnceOld;
    const std::optional<ParsedHiddenName> hidden = parseHiddenName(name);
    const bool hasBeenRemoved = hidden && isProbe(hidden->name, own_names::ownershipProbePrefix, "");
    return hasBeenRemoved ? Verdict::remove : Verdict::keep;
  });
}

int LeftoverCollector::collectAtStart(const Path& runningApplication, std::uint32_t ownerID) const {
  const Path application = withoutTrailingSlash(runningApplication);
  int removed = 0;
  try {
    const std::unique_ptr<FolderLock> lock =
        with_.fileSystem->lockFolder(application.parent_path(), FolderUse::alone);
    if (lock) removed += collectBeside(application, Backups::removed);
    removed += collectTemporary(with_.fileSystem->temporaryDirectory(), ownerID);
  } catch (const std::exception&) {
    // A folder that cannot be read or locked is not ours to tidy.
  }
  return removed;
}

bool LeftoverCollector::belongsTo(const Path& item, std::uint32_t ownerID) const {
  try {
    return with_.fileSystem->attributes(item).ownerID == ownerID;
  } catch (const std::exception&) {
    return false;
  }
}

template <typename Judge>
int LeftoverCollector::collect(const Path& folder, const Judge& judge) const {
  std::vector<Path> entries;
  try {
    entries = with_.fileSystem->contentsOfDirectory(folder, HiddenItems::included);
  } catch (const std::exception&) {
    return 0;  // nobody's to read, or not there
  }
  int removed = 0;
  for (const Path& entry : entries) {
    try {
      const Verdict verdict = judge(entry.filename().string());
      if (verdict == Verdict::keep || (verdict == Verdict::removeOnceOld && !isOld(entry))) continue;
      with_.log("Removing what an interrupted replacement left at " + entry.string());
      with_.fileSystem->removeItem(entry);
      ++removed;
    } catch (const std::exception& error) {
      with_.log(std::string("Unable to remove it: ") + error.what());
    }
  }
  return removed;
}

bool LeftoverCollector::isOld(const Path& item) const {
  const std::optional<Date> written = with_.fileSystem->attributes(item).modificationDate;
  return written && *written <= with_.clock->now() - writingTakesAtMost;
}

}  // namespace pellam

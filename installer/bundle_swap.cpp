#include "installer/bundle_swap.h"

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

namespace pellam {

using Path = std::filesystem::path;

BundleSwap::BundleSwap(FileSystem& fileSystem, BundlePlaces places)
    : fileSystem_(fileSystem), places_(std::move(places)) {}

void BundleSwap::bringBeside() {
  old_ = fileSystem_.attributes(places_.installed);
  oldPlace_ = places_.installed;
  // The volume itself says whether it has such names.
  for (const Path& name : {places_.backup, places_.incoming}) {
    if (!isMissing(name)) throw std::system_error(EEXIST, std::generic_category(), name.string());
  }
  // The contents are on the disk before any name changes: a rename is written through sooner than the files
  // that it makes visible, and a power failure must not leave a new bundle of empty files.
  fileSystem_.synchronizeVolume(places_.staged);
  try {
    fileSystem_.renameItem(places_.staged, places_.incoming);
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::cross_device_link) {
      if (isMissing(places_.staged)) returnToStaging();
      throw;
    }
    fileSystem_.copyItem(places_.staged, places_.incoming);
    isCopied_ = true;
  }
}

void BundleSwap::putInPlace() {
  try {
    const bool isExchanged = fileSystem_.exchangeItems(places_.incoming, places_.installed);
    if (isExchanged) oldPlace_ = places_.incoming;
    fileSystem_.renameItem(oldPlace_, places_.backup);
    oldPlace_ = places_.backup;
    if (!isExchanged) fileSystem_.renameItem(places_.incoming, places_.installed);
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::cross_device_link) throw;
    throw std::system_error(error.code(),
                            "the application cannot be renamed where it lies, as in a lower layer "
                            "of an overlay: " +
                                places_.installed.string());
  }
  fileSystem_.synchronizeName(places_.installed);
  if (!isCopied_) fileSystem_.synchronizeName(places_.staged);
}

void BundleSwap::restore() noexcept {
  // What fails once may succeed the next time, and each try begins where the last one stopped.
  for (int tries = 0; tries < 2; ++tries) {
    try {
      const std::optional<Path> old = whereTheOldBundleIs();
      if (!old) break;
      oldPlace_ = *old;
      if (oldPlace_ == places_.installed) break;
      exchangeBack(*old);
    } catch (const std::exception&) {
      // The failure that led here is the one to report.
    }
  }
  // Nothing installed must not be the end: each of the two bundles has passed every check.
  for (const Path& bundle : {places_.backup, places_.incoming}) {
    try {
      if (isMissing(places_.installed)) fileSystem_.renameItem(bundle, places_.installed);
    } catch (const std::exception&) {
      // The other one, then.
    }
  }
  try {
    fileSystem_.synchronizeName(places_.installed);
  } catch (const std::exception&) {
    // The names are right, if perhaps not on the disk yet.
  }
}

// A link that leads nowhere is something, too.
bool BundleSwap::isMissing(const Path& path) const {
  try {
    (void)fileSystem_.attributes(path);
    return false;
  } catch (const std::system_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return true;
    throw;
  }
}

// A name says little after a failure: what was reported as failed may have been done.
bool BundleSwap::isOld(const Path& path) const {
  try {
    const FileAttributes found = fileSystem_.attributes(path);
    return found.fileSystemNumber == old_.fileSystemNumber && found.fileNumber == old_.fileNumber;
  } catch (const std::exception&) {
    return false;
  }
}

std::optional<Path> BundleSwap::whereTheOldBundleIs() const {
  for (const Path& name : {places_.installed, places_.backup, places_.incoming}) {
    if (isOld(name)) return name;
  }
  // A volume whose numbers change with the names.
  if (!isMissing(oldPlace_)) return oldPlace_;
  return std::nullopt;
}

void BundleSwap::exchangeBack(const Path& old) {
  bool isExchanged = false;
  if (!isMissing(places_.installed)) {
    try {
      isExchanged = fileSystem_.exchangeItems(old, places_.installed);
    } catch (const std::exception&) {
      isExchanged = isOld(places_.installed);  // else in two steps
    }
  }
  if (!isExchanged) return moveBack(old);
  oldPlace_ = places_.installed;
  if (old != places_.incoming) fileSystem_.renameItem(old, places_.incoming);
}

// Removes before it moves, but only the name.
void BundleSwap::moveBack(Path old) {
  if (!isMissing(places_.installed)) {
    if (old == places_.incoming) {
      fileSystem_.renameItem(old, places_.backup);
      old = oldPlace_ = places_.backup;
    }
    fileSystem_.renameItem(places_.installed, places_.incoming);
  }
  fileSystem_.renameItem(old, places_.installed);
  oldPlace_ = places_.installed;
}

void BundleSwap::returnToStaging() noexcept {
  if (!isCopied_ && oldPlace_ == places_.installed && !isOld(places_.incoming)) {
    try {
      fileSystem_.renameItem(places_.incoming, places_.staged);
      return;
    } catch (const std::exception&) {
      // It may be staged anew.
    }
  }
  removeNewAt(places_.incoming);
  removeNewAt(places_.backup);
}

void BundleSwap::discardNew() noexcept {
  removeNewAt(places_.incoming);
  removeNewAt(places_.backup);
  if (isCopied_) removeIgnoringErrors(places_.staged);
}

// Only with the old bundle in its place is it certain that something else is the new one.
void BundleSwap::removeNewAt(const Path& path) noexcept {
  try {
    if (isOld(places_.installed) && !isMissing(path)) fileSystem_.removeItem(path);
  } catch (const std::exception&) {
    // Clean-up: what stays behind takes room, until it is collected.
  }
}

void BundleSwap::finish() noexcept {
  removeIgnoringErrors(places_.backup);
  if (isCopied_) removeIgnoringErrors(places_.staged);
}

void BundleSwap::removeIgnoringErrors(const Path& item) noexcept {
  try {
    fileSystem_.removeItem(item);
  } catch (const std::exception&) {
    // Clean-up: what stays behind takes room, until it is collected.
  }
}

}  // namespace pellam

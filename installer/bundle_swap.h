#pragma once

#include <filesystem>
#include <optional>

#include "platform/file_system.h"

namespace pellam {

// Where the bundles of one replacement lie. All but the staged one lie in one folder.
struct BundlePlaces {
  std::filesystem::path staged;
  std::filesystem::path installed;
  std::filesystem::path incoming;  // the new bundle's hidden name beside the installed one
  std::filesystem::path backup;
};

// The only code that gives the installed path another bundle.
//
// Where the volume can exchange two names in one step, the installed path is never empty: the staged bundle
// takes the incoming name, incoming and installed are exchanged, and the old bundle gets the backup's name.
// Elsewhere installed becomes backup and incoming installed, by two renames with nothing between them; both
// folders are synced when all names are as they shall be. A bundle on another volume is copied to the
// incoming name, and the staged one stays until finish() or discardNew().
//
// Nothing is ever removed while it could still be needed: what leaves the installed path for another bundle
// keeps a name until that one is in place.
//
// One object for each replacement, used in this order: bringBeside, putInPlace, then finish or, after
// whatever failed, restore and one of returnToStaging and discardNew. Blocks.
class BundleSwap {
 public:
  BundleSwap(FileSystem& fileSystem, BundlePlaces places);

  // Throws std::system_error; ENAMETOOLONG when a bundle of that name cannot have a backup; the staged bundle
  // then lies where it lay, and nothing else was touched.
  void bringBeside();
  // True when bringBeside copied.
  [[nodiscard]] bool isCopied() const { return isCopied_; }

  // Throws std::system_error; what is installed then may be either bundle, and restore() puts it right.
  void putInPlace();

  // The old bundle is installed again if there is any way, else the new one; never nothing, where something
  // is left that can be moved. Never throws.
  void restore() noexcept;

  // The new bundle, which has no place after a restore, gets its staged one back. Never throws.
  void returnToStaging() noexcept;
  // The new bundle goes, from its staged place as well. Never throws.
  void discardNew() noexcept;
  // The old bundle goes, and the staged one of another volume. Never throws.
  void finish() noexcept;

 private:
  [[nodiscard]] bool isMissing(const std::filesystem::path& path) const;
  [[nodiscard]] bool isOld(const std::filesystem::path& path) const;
  [[nodiscard]] std::optional<std::filesystem::path> whereTheOldBundleIs() const;
  void exchangeBack(const std::filesystem::path& old);
  void moveBack(std::filesystem::path old);
  void removeNewAt(const std::filesystem::path& path) noexcept;
  void removeIgnoringErrors(const std::filesystem::path& item) noexcept;

  FileSystem& fileSystem_;
  BundlePlaces places_;
  FileAttributes old_;              // what tells the old bundle from the new one whatever its name
  std::filesystem::path oldPlace_;  // where it was last known to be
  bool isCopied_ = false;
};

}  // namespace pellam

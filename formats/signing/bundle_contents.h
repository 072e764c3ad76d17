#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/signing/digest.h"
#include "pellam/property_list_value.h"
#include "platform/confined_folder.h"

namespace pellam::codesign {

// One thing inside a bundle that its seal names.
struct BundleItem {
  enum class Kind { file, symbolicLink, nestedCode, other };
  std::string path;  // below Contents, with slashes
  Kind kind = Kind::file;
  std::uint64_t size = 0;  // of a file
  std::string linkTarget;  // of a link
};

// An opened bundle ("X.app" with Contents/Info.plist and Contents/MacOS/<CFBundleExecutable>). Everything
// inside is read through the bundle's own folder and never through a symbolic link, whatever somebody does to
// its names meanwhile. Refusals are CodeSigningError with the bundle's path.
class BundleContents {
 public:
  static constexpr std::string_view signatureFolder = "_CodeSignature";

  BundleContents(const FolderOpening& folders, std::filesystem::path bundle);

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] const Bytes& infoPlist() const { return infoPlist_; }
  [[nodiscard]] const PropertyListDictionary& information() const { return information_; }
  // Below Contents: "MacOS/<name>".
  [[nodiscard]] const std::string& executable() const { return executable_; }
  [[nodiscard]] std::uint64_t executableSize() const { return executableSize_; }

  // A regular file below Contents, opened for reading; nothing when there is none or a link is in the way.
  [[nodiscard]] std::unique_ptr<ReadOnlyFile> openFile(const std::string& pathBelowContents) const;
  // Its contents, when it is there and not longer than the limit.
  [[nodiscard]] std::optional<Bytes> readFile(const std::string& pathBelowContents, std::size_t limit) const;

  // Everything that the seal covers: all but Info.plist, the main executable, the signature's own files, a
  // stapled ticket (Contents/CodeResources) and .DS_Store; nested code as one item. In the order of the
  // paths. Foreign files in the signature's folder are items, too.
  [[nodiscard]] std::vector<BundleItem> items() const;

  // True when the link's target, as the kernel resolves it, does not lie outside the bundle.
  [[nodiscard]] bool linkStaysInside(const std::string& pathBelowContents) const;

 private:
  void requireCleanRoot() const;
  void collect(const ConfinedFolder& folder, const std::string& prefix, int depth,
               std::vector<BundleItem>& found) const;

  std::filesystem::path path_;
  std::unique_ptr<ConfinedFolder> root_;
  std::unique_ptr<ConfinedFolder> contents_;
  Bytes infoPlist_;
  PropertyListDictionary information_;
  std::string executable_;
  std::uint64_t executableSize_ = 0;
};

}  // namespace pellam::codesign

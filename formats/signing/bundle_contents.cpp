#include "formats/signing/bundle_contents.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "formats/signing/signing_error.h"
#include "foundation/item_path.h"
#include "platform/property_list.h"

namespace pellam::codesign {

namespace {

constexpr std::size_t maximumInfoPlistSize = std::size_t{16} << 20;
constexpr std::size_t maximumItems = 1'000'000;
constexpr int maximumDepth = 100;

constexpr std::array<std::string_view, 7> codeExtensions = {".app",  ".appex",  ".bundle", ".framework",
                                                            ".kext", ".plugin", ".xpc"};
// The folders in which a bundle is code of its own and not a resource.
constexpr std::array<std::string_view, 9> codeFolders = {"Frameworks/", "SharedFrameworks/", "PlugIns/",
                                                         "Plug-ins/",   "XPCServices/",      "Helpers/",
                                                         "MacOS/",      "Library/",          "Applications/"};
constexpr std::array<std::string_view, 4> signatureFiles = {"CodeDirectory", "CodeRequirements",
                                                            "CodeResources", "CodeSignature"};

bool contains(std::span<const std::string_view> list, std::string_view name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

bool liesInCodeFolder(const std::string& path) {
  return std::any_of(codeFolders.begin(), codeFolders.end(),
                     [&](std::string_view folder) { return path.starts_with(folder); });
}

// With Contents/Info.plist. Where Contents is a link nobody looks behind it: the bundle is refused as soon as
// it is opened.
bool isBundle(const ConfinedFolder& folder) {
  try {
    const std::optional<ConfinedItem> contents = folder.describe("Contents");
    if (contents && contents->type == FileType::symbolicLink) return true;
    return contents && folder.openFolder("Contents")->describe("Info.plist").has_value();
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace

BundleContents::BundleContents(const FolderOpening& folders, std::filesystem::path bundle)
    : path_(std::move(bundle)) {
  try {
    root_ = folders.openFolder(path_);
  } catch (const std::system_error& error) {
    const int number = error.code().value();
    if (number == ENOENT) throw CodeSigningError(path_, reason::notFound);
    if (number == ENOTDIR) throw CodeSigningError(path_, reason::notSigned);
    throw CodeSigningError(path_, error.code().message());
  }
  try {
    contents_ = root_->openFolder("Contents");
  } catch (const std::system_error&) {
    throw CodeSigningError(path_, reason::notABundle);
  }
  std::optional<Bytes> bytes = readFile("Info.plist", maximumInfoPlistSize);
  if (!bytes) throw CodeSigningError(path_, reason::notABundle);
  infoPlist_ = *std::move(bytes);
  try {
    const PropertyListValue value = readPropertyList(infoPlist_);
    if (value.dictionary() == nullptr) throw CodeSigningError(path_, reason::notABundle);
    information_ = *value.dictionary();
  } catch (const PropertyListReadError& error) {
    throw CodeSigningError(path_, reason::notABundle, {std::string("Info.plist: ") + error.what()});
  }
  const PropertyListText* name = information_.findString("CFBundleExecutable");
  if (name == nullptr || !isPlainFileName(*name)) {
    throw CodeSigningError(path_, reason::notABundle, {"Info.plist has no usable CFBundleExecutable"});
  }
  executable_ = "MacOS/" + *name;
  const std::unique_ptr<ReadOnlyFile> executable = openFile(executable_);
  if (executable == nullptr) {
    throw CodeSigningError(path_, reason::notABundle, {"there is no main executable"});
  }
  executableSize_ = executable->size();
  requireCleanRoot();
}

void BundleContents::requireCleanRoot() const {
  std::vector<std::string> details;
  for (const std::string& name : root_->names()) {
    if (name != "Contents" && name != ".DS_Store") {
      details.push_back("file added: " + printable((path_ / name).string()));
    }
  }
  if (!details.empty()) throw CodeSigningError(path_, reason::unsealedRoot, std::move(details));
}

std::unique_ptr<ReadOnlyFile> BundleContents::openFile(const std::string& pathBelowContents) const {
  try {
    return contents_->openFile(pathBelowContents);
  } catch (const std::system_error&) {
    return nullptr;
  }
}

std::optional<Bytes> BundleContents::readFile(const std::string& pathBelowContents, std::size_t limit) const {
  const std::unique_ptr<ReadOnlyFile> file = openFile(pathBelowContents);
  if (file == nullptr) return std::nullopt;
  Bytes bytes;
  std::array<std::uint8_t, 65536> chunk{};
  for (;;) {
    std::size_t count = 0;
    try {
      count = file->readAt(bytes.size(), chunk);
    } catch (const std::system_error&) {
      return std::nullopt;
    }
    bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
    if (bytes.size() > limit) return std::nullopt;
    if (count < chunk.size()) return bytes;
  }
}

std::vector<BundleItem> BundleContents::items() const {
  std::vector<BundleItem> found;
  try {
    collect(*contents_, "", 0, found);
  } catch (const std::system_error& error) {
    throw CodeSigningError(path_, error.code().message());
  }
  std::sort(found.begin(), found.end(),
            [](const BundleItem& left, const BundleItem& right) { return left.path < right.path; });
  return found;
}

void BundleContents::collect(const ConfinedFolder& folder, const std::string& prefix, int depth,
                             std::vector<BundleItem>& found) const {
  if (depth > maximumDepth) throw CodeSigningError(path_, reason::tooLarge);
  for (const std::string& name : folder.names()) {
    BundleItem item;
    item.path = prefix + name;
    if (name == ".DS_Store") continue;
    const std::optional<ConfinedItem> description = folder.describe(name);
    if (!description) throw CodeSigningError(path_, reason::notFound);
    switch (description->type) {
      case FileType::regular:
        if (item.path == "Info.plist" || item.path == executable_ || item.path == "CodeResources") continue;
        if (prefix == std::string(signatureFolder) + "/" && contains(signatureFiles, name)) continue;
        item.size = description->size;
        break;
      case FileType::symbolicLink:
        item.kind = BundleItem::Kind::symbolicLink;
        item.linkTarget = folder.linkTarget(name);
        break;
      case FileType::directory: {
        const std::unique_ptr<ConfinedFolder> child = folder.openFolder(name);
        const bool isCode = liesInCodeFolder(item.path) &&
                            contains(codeExtensions, std::filesystem::path(name).extension().native()) &&
                            isBundle(*child);
        if (!isCode) {
          collect(*child, item.path + "/", depth + 1, found);
          continue;
        }
        item.kind = BundleItem::Kind::nestedCode;
        break;
      }
      case FileType::other:
        item.kind = BundleItem::Kind::other;
    }
    if (found.size() == maximumItems) throw CodeSigningError(path_, reason::tooLarge);
    found.push_back(std::move(item));
  }
}

bool BundleContents::linkStaysInside(const std::string& pathBelowContents) const {
  return root_->leadsInside("Contents/" + pathBelowContents);
}

}  // namespace pellam::codesign

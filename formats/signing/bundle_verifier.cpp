#include "formats/signing/bundle_verifier.h"

#include <algorithm>

#include "formats/signing/parallel_hasher.h"
#include "formats/signing/resource_seal.h"
#include "formats/signing/signing_error.h"

namespace pellam::codesign {

namespace {

constexpr std::size_t maximumDetails = 100;
constexpr int maximumNesting = 16;

// The items on the disk beside what the seal says of them; collects the differences.
class SealComparison {
 public:
  SealComparison(const BundleContents& bundle, const ResourceSeal& seal)
      : bundle_(bundle), seal_(seal), items_(bundle.items()), digests_(items_.size()) {}

  // Hands the work of every file that the seal knows to the hasher.
  void addFiles(ParallelHasher& hasher) {
    for (std::size_t index = 0; index < items_.size(); ++index) {
      const SealedItem* sealed = sealedItem(items_[index]);
      if (sealed != nullptr && sealed->file && items_[index].kind == BundleItem::Kind::file) {
        hasher.addFile(items_[index].path, items_[index].size, &digests_[index]);
      }
    }
  }

  // After the hasher has run.
  void requireEqual() {
    std::vector<std::string> details;
    const auto note = [&](const char* what, const std::string& path) {
      if (details.size() < maximumDetails) details.push_back(what + printable(fullPath(path)));
    };
    std::size_t found = 0;
    for (std::size_t index = 0; index < items_.size(); ++index) {
      const BundleItem& item = items_[index];
      const SealedItem* sealed = sealedItem(item);
      if (sealed == nullptr) {
        note("file added: ", item.path);
        continue;
      }
      ++found;
      const bool isSame = [&] {
        switch (item.kind) {
          case BundleItem::Kind::file:
            return digests_[index] && digests_[index] == sealed->file;
          case BundleItem::Kind::symbolicLink:
            return sealed->linkTarget == item.linkTarget;
          case BundleItem::Kind::nestedCode:
            return sealed->nestedCode.has_value();
          case BundleItem::Kind::other:
            return false;
        }
        return false;
      }();
      if (!isSame) note("file modified: ", item.path);
    }
    if (found != seal_.items.size()) noteMissing(note);
    if (!details.empty()) throw CodeSigningError(bundle_.path(), reason::badResource, std::move(details));
  }

  void requireLinksInside() const {
    for (const BundleItem& item : items_) {
      if (item.kind == BundleItem::Kind::symbolicLink && !bundle_.linkStaysInside(item.path)) {
        throw CodeSigningError(bundle_.path(), reason::invalidLink,
                               {"file: " + printable(fullPath(item.path))});
      }
    }
  }

  // Nested code carries its own signature; the seal says which one.
  void requireNestedCode(const FolderOpening& folders) const {
    for (const BundleItem& item : items_) {
      if (item.kind != BundleItem::Kind::nestedCode) continue;
      const SealedItem::NestedCode& sealed = *sealedItem(item)->nestedCode;
      const std::string subcomponent = "In subcomponent: " + printable(fullPath(item.path));
      try {
        const BundleContents nested(folders, fullPath(item.path));
        const OpenedSignature signature(nested);
        if (codeHash(signature.codeDirectoryBytes) == sealed.hash &&
            signature.requirement.text() == sealed.requirement) {
          continue;
        }
      } catch (const CodeSigningError& error) {
        throw CodeSigningError(bundle_.path(), error.reason(), {subcomponent});
      }
      throw CodeSigningError(bundle_.path(), reason::badNestedCode, {subcomponent});
    }
  }

 private:
  [[nodiscard]] const SealedItem* sealedItem(const BundleItem& item) const {
    const auto found = seal_.items.find(item.path);
    return found == seal_.items.end() ? nullptr : &found->second;
  }
  [[nodiscard]] std::string fullPath(const std::string& path) const {
    return (bundle_.path() / "Contents" / path).string();
  }

  template <typename Note>
  void noteMissing(const Note& note) const {
    // Both lists are in the order of the paths.
    std::size_t index = 0;
    for (const auto& [path, sealed] : seal_.items) {
      while (index < items_.size() && items_[index].path < path) ++index;
      if (index == items_.size() || items_[index].path != path) note("file missing: ", path);
    }
  }

  const BundleContents& bundle_;
  const ResourceSeal& seal_;
  std::vector<BundleItem> items_;
  std::vector<std::optional<Digest>> digests_;
};

ResourceSeal openSeal(const BundleContents& bundle, const CodeDirectory& directory) {
  const std::optional<Bytes> bytes = bundle.readFile(resourcesFile, maximumResourcesSize);
  if (!bytes) throw CodeSigningError(bundle.path(), reason::noResources);
  // Nothing in the seal is looked at before its digest is right.
  if (Sha256().of(*bytes) != directory.resources) {
    throw CodeSigningError(bundle.path(), reason::invalidResourceDirectory);
  }
  std::optional<ResourceSeal> seal = ResourceSeal::decode(*bytes);
  if (!seal) throw CodeSigningError(bundle.path(), reason::invalidResourceDirectory);
  return *std::move(seal);
}

void requireSpecialSlots(const BundleContents& bundle, const OpenedSignature& signature) {
  if (Sha256().of(bundle.infoPlist()) != signature.codeDirectory.infoPlist) {
    throw CodeSigningError(bundle.path(), reason::invalidInfoPlist);
  }
  const std::optional<Bytes> requirements = bundle.readFile(requirementsFile, maximumSignatureFileSize);
  if (!requirements || Sha256().of(*requirements) != signature.codeDirectory.requirements) {
    throw CodeSigningError(bundle.path(), reason::invalidSignature);
  }
  if (*requirements != signature.requirement.encodedSet()) {
    throw CodeSigningError(bundle.path(), reason::requirementFailed);
  }
}

void requireSameCode(const BundleContents& bundle, const CodeDirectory& directory,
                     const std::vector<std::optional<Digest>>& pages) {
  const bool isSame = bundle.executableSize() == directory.codeLimit &&
                      std::equal(pages.begin(), pages.end(), directory.pages.begin(), directory.pages.end());
  if (!isSame) throw CodeSigningError(bundle.path(), reason::invalidSignature);
}

void verifyNested(const FolderOpening& folders, const VerificationRequest& request, int depth) {
  if (depth > maximumNesting) throw CodeSigningError(request.bundle, reason::tooLarge);
  const BundleContents bundle(folders, request.bundle);
  const OpenedSignature signature(bundle);
  signature.signature.requireTrust(request.anchors);
  verifySealedContents(folders, bundle, signature,
                       request.strict ? Strictness::strict : Strictness::ordinary);
  if (!request.deep) return;
  for (const BundleItem& item : bundle.items()) {
    if (item.kind != BundleItem::Kind::nestedCode) continue;
    VerificationRequest nested = request;
    nested.bundle = request.bundle / "Contents" / item.path;
    try {
      verifyNested(folders, nested, depth + 1);
    } catch (const CodeSigningError& error) {
      std::vector<std::string> details = error.details();
      details.insert(details.begin(), "In subcomponent: " + printable(error.path().string()));
      throw CodeSigningError(request.bundle, error.reason(), std::move(details));
    }
  }
}

}  // namespace

void verifySealedContents(const FolderOpening& folders, const BundleContents& bundle,
                          const OpenedSignature& signature, Strictness strictness) {
  requireSpecialSlots(bundle, signature);
  const ResourceSeal seal = openSeal(bundle, signature.codeDirectory);
  SealComparison comparison(bundle, seal);
  std::vector<std::optional<Digest>> pages(signature.codeDirectory.pages.size());
  ParallelHasher hasher(bundle);
  hasher.addPages(bundle.executable(), bundle.executableSize(), CodeDirectory::pageSize, &pages);
  comparison.addFiles(hasher);
  if (bundle.executableSize() != signature.codeDirectory.codeLimit) {
    throw CodeSigningError(bundle.path(), reason::invalidSignature);
  }
  hasher.run();
  requireSameCode(bundle, signature.codeDirectory, pages);
  comparison.requireEqual();
  if (strictness == Strictness::strict) comparison.requireLinksInside();
  comparison.requireNestedCode(folders);
}

void verifyBundle(const FolderOpening& folders, const VerificationRequest& request) {
  verifyNested(folders, request, 0);
}

}  // namespace pellam::codesign

#include "formats/signing/bundle_signer.h"

#include <exception>
#include <memory>
#include <system_error>

#include "formats/signing/bundle_verifier.h"
#include "formats/signing/parallel_hasher.h"
#include "formats/signing/resource_seal.h"
#include "formats/signing/signature_files.h"
#include "formats/signing/signing_error.h"
#include "foundation/bundle.h"
#include "platform/file_system.h"
#include "text/unicode_text.h"

namespace pellam::codesign {

namespace {

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

SealedItem::NestedCode sealNestedCode(const FolderOpening& folders, const BundleContents& bundle,
                                      const std::string& path) {
  const std::filesystem::path nestedPath = bundle.path() / "Contents" / path;
  try {
    const BundleContents nested(folders, nestedPath);
    const OpenedSignature signature(nested);
    verifySealedContents(folders, nested, signature, Strictness::ordinary);
    return {codeHash(signature.codeDirectoryBytes), signature.requirement.text()};
  } catch (const CodeSigningError& error) {
    std::vector<std::string> details = error.details();
    details.insert(details.begin(), "In subcomponent: " + printable(nestedPath.string()));
    throw CodeSigningError(bundle.path(), error.reason(), std::move(details));
  }
}

ResourceSeal sealOf(const FolderOpening& folders, const BundleContents& bundle,
                    std::vector<std::optional<Digest>>& pages) {
  const std::vector<BundleItem> items = bundle.items();
  std::vector<std::optional<Digest>> digests(items.size());
  ParallelHasher hasher(bundle);
  hasher.addPages(bundle.executable(), bundle.executableSize(), CodeDirectory::pageSize, &pages);
  for (std::size_t index = 0; index < items.size(); ++index) {
    if (items[index].kind == BundleItem::Kind::file) {
      hasher.addFile(items[index].path, items[index].size, &digests[index]);
    }
  }
  hasher.run();

  ResourceSeal seal;
  for (std::size_t index = 0; index < items.size(); ++index) {
    const BundleItem& item = items[index];
    const auto refuse = [&](const char* why) {
      throw CodeSigningError(bundle.path(), why, {"file: " + printable(item.path)});
    };
    if (!text::isValidUTF8(item.path) || !text::isValidUTF8(item.linkTarget)) refuse("a name is not UTF-8");
    SealedItem sealed;
    switch (item.kind) {
      case BundleItem::Kind::file:
        if (!digests[index]) refuse("a file cannot be read");
        if (item.path.starts_with(BundleContents::signatureFolder)) refuse("a foreign file in the signature");
        sealed.file = digests[index];
        break;
      case BundleItem::Kind::symbolicLink:
        if (!bundle.linkStaysInside(item.path)) refuse(reason::invalidLink);
        sealed.linkTarget = item.linkTarget;
        break;
      case BundleItem::Kind::nestedCode:
        sealed.nestedCode = sealNestedCode(folders, bundle, item.path);
        break;
      case BundleItem::Kind::other:
        refuse("only files, folders and links can be sealed");
    }
    seal.items.emplace(item.path, std::move(sealed));
  }
  return seal;
}

std::string identifierFor(const BundleContents& bundle, const SigningRequest& request) {
  std::string identifier = request.identifier.value_or(bundleIdentifierOf(bundle.information()).value_or(""));
  if (!isUsableName(identifier)) throw CodeSigningError(bundle.path(), "no usable identifier to sign with");
  return identifier;
}

}  // namespace

void signBundle(const FolderOpening& folders, FileSystem& files, const SigningRequest& request) {
  const SigningIdentity identity(request.certificateFile, request.keyFile);
  const BundleContents bundle(folders, request.bundle);

  CodeDirectory directory;
  directory.identifier = identifierFor(bundle, request);
  directory.team = identity.team();
  if (request.team && request.team != directory.team) {
    throw CodeSigningError(request.certificateFile,
                           "the team is not the organizational unit of the certificate's subject");
  }
  if (directory.team && !isUsableName(*directory.team)) {
    throw CodeSigningError(request.certificateFile,
                           "the certificate's organizational unit is no usable team");
  }

  directory.codeLimit = bundle.executableSize();
  std::vector<std::optional<Digest>> pages((directory.codeLimit + CodeDirectory::pageSize - 1) /
                                           CodeDirectory::pageSize);
  const std::string resources = sealOf(folders, bundle, pages).encoded();
  for (const std::optional<Digest>& page : pages) {
    if (!page) throw CodeSigningError(bundle.path(), "the main executable cannot be read");
    directory.pages.push_back(*page);
  }
  const Bytes requirements =
      DesignatedRequirement{directory.identifier, directory.team, identity.certificateHash()}.encodedSet();
  Sha256 digest;
  directory.infoPlist = digest.of(bundle.infoPlist());
  directory.requirements = digest.of(requirements);
  directory.resources = digest.of(bytesOf(resources));
  const Bytes directoryBytes = directory.encoded();
  const Bytes signature = identity.sign(directoryBytes);

  // The signature comes last: what was interrupted before has none that is valid.
  const std::filesystem::path contents = request.bundle / "Contents";
  try {
    files.createDirectory(contents / BundleContents::signatureFolder);
    files.writeFileAtomically(contents / resourcesFile, bytesOf(resources));
    files.writeFileAtomically(contents / requirementsFile, requirements);
    files.writeFileAtomically(contents / codeDirectoryFile, directoryBytes);
    files.writeFileAtomically(contents / signatureFile, signature);
  } catch (const std::system_error& error) {
    throw CodeSigningError(bundle.path(), error.what());
  }
}

}  // namespace pellam::codesign

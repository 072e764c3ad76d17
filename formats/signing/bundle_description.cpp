#include "formats/signing/bundle_description.h"

#include <algorithm>
#include <cstdio>

#include "formats/signing/resource_seal.h"
#include "formats/signing/signature_files.h"
#include "formats/signing/signing_error.h"
#include "foundation/date_text.h"

namespace pellam::codesign {

namespace {

std::string format(const std::string& extension) {
  if (extension == ".app") return "app bundle with generic";
  return "bundle with generic";
}

}  // namespace

std::vector<std::string> describeBundle(const FolderOpening& folders, const std::filesystem::path& bundlePath,
                                        const std::filesystem::path& currentFolder) {
  const BundleContents bundle(folders, bundlePath);
  const OpenedSignature opened(bundle);
  const CodeDirectory& directory = opened.codeDirectory;
  const Digest digest = Sha256().of(opened.codeDirectoryBytes);
  const std::string shortHash = hexadecimal(codeHash(opened.codeDirectoryBytes));

  std::vector<std::string> lines;
  const auto add = [&](const std::string& key, const std::string& value) {
    lines.push_back(key + "=" + printable(value));
  };
  add("Executable",
      (currentFolder / bundle.path() / "Contents" / bundle.executable()).lexically_normal().string());
  add("Identifier", directory.identifier);
  add("Format", format(bundlePath.extension().string()));
  lines.push_back("CodeDirectory v=20400 size=" + std::to_string(opened.codeDirectoryBytes.size()) +
                  " flags=0x0(none) hashes=" + std::to_string(directory.pages.size()) +
                  "+3 location=external");
  lines.emplace_back("Hash type=sha256 size=32");
  lines.push_back("CandidateCDHash sha256=" + shortHash);
  lines.push_back("CandidateCDHashFull sha256=" + hexadecimal(digest));
  lines.emplace_back("Hash choices=sha256");
  add("CDHash", shortHash);
  add("Signature size", std::to_string(opened.signatureBytes.size()));
  for (const std::string& authority : opened.signature.authorities()) add("Authority", authority);
  if (const std::optional<Date> time = opened.signature.signingTime()) add("Signed Time", iso8601Text(*time));
  add("Info.plist entries", std::to_string(bundle.information().size()));
  add("TeamIdentifier", directory.team.value_or("not set"));
  const std::optional<Bytes> resources = bundle.readFile(resourcesFile, maximumResourcesSize);
  const std::optional<ResourceSeal> seal = resources ? ResourceSeal::decode(*resources) : std::nullopt;
  if (seal) {
    lines.push_back("Sealed Resources version=2 rules=" + std::to_string(ResourceSeal::ruleCount()) +
                    " files=" + std::to_string(seal->items.size()));
  } else {
    lines.emplace_back("Sealed Resources=none");
  }
  lines.push_back("Internal requirements count=1 size=" +
                  std::to_string(opened.requirement.encodedSet().size()));
  return lines;
}

}  // namespace pellam::codesign

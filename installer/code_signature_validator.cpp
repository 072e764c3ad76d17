#include "installer/code_signature_validator.h"

#include <algorithm>
#include <array>
#include <exception>

#include "foundation/bundle.h"
#include "foundation/decimal.h"
#include "foundation/item_path.h"
#include "pellam/installer_error.h"
#include "platform/property_list.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

using Error = OrvoUpdateInstallerError;
using Path = std::filesystem::path;
using Validator = OrvoAppBundleCodeSignatureValidator;

constexpr std::string_view teamPrefix = "TeamIdentifier=";
constexpr std::size_t maximumShownCharacters = 500;

std::string orEmptyMark(const std::string& value) { return value.empty() ? "<empty>" : value; }

std::string stringOf(const PropertyListDictionary& info, const char* key) {
  const PropertyListText* value = info.findString(key);
  return value != nullptr ? *value : std::string();
}

}  // namespace

void Validator::validateAppBundle(const Path& appBundleURL,
                                  const OrvoAppBundleUpdateHostIdentity& hostIdentity) {
  const Path appBundle = withoutTrailingSlash(appBundleURL);
  const PropertyListDictionary info = loadInfoPlist(appBundle);
  validateBundleIdentifier(info, appBundle, hostIdentity);
  validateVersion(info, hostIdentity);
  validateMinimumSystemVersion(info);
  validateExecutable(info, appBundle);
  validateCodeSignature(appBundle);
  if (!hostIdentity.expectedTeamIdentifier) return;
  const std::string& expected = *hostIdentity.expectedTeamIdentifier;
  const std::string actual = readTeamIdentifier(appBundle);
  if (actual == expected) return;
  log("team identifier mismatch expectedTeamID=" + orEmptyMark(expected) +
      " actualTeamID=" + orEmptyMark(actual) + " stagedApp=" + appBundle.string());
  throw Error(Error::Case::teamIdentifierMismatch);
}

PropertyListDictionary Validator::loadInfoPlist(const Path& appBundle) const {
  try {
    const PropertyListValue value =
        readPropertyList(fileSystem_->readFile(appBundle / "Contents" / "Info.plist").span());
    if (value.dictionary() != nullptr) return *value.dictionary();
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::invalidArchive));
  }
  throw Error(Error::Case::invalidArchive);
}

void Validator::validateBundleIdentifier(const PropertyListDictionary& info, const Path& appBundle,
                                         const OrvoAppBundleUpdateHostIdentity& hostIdentity) const {
  const std::string staged = bundleIdentifierOf(info).value_or("");
  if (staged == hostIdentity.bundleIdentifier) return;
  log("bundle identifier mismatch expectedBundleID=" + orEmptyMark(hostIdentity.bundleIdentifier) +
      " actualBundleID=" + orEmptyMark(staged) + " stagedApp=" + appBundle.string());
  throw Error(Error::Case::bundleIdentifierMismatch);
}

void Validator::validateVersion(const PropertyListDictionary& info,
                                const OrvoAppBundleUpdateHostIdentity& hostIdentity) const {
  const std::string version = stringOf(info, "CFBundleShortVersionString");
  const std::string buildText = stringOf(info, "CFBundleVersion");
  const std::int64_t build = parseDecimal<std::int64_t>(buildText).value_or(0);
  const std::int64_t hostBuild = hostIdentity.applicationBuild;
  const std::string host = " hostVersion=" + orEmptyMark(hostIdentity.applicationVersion) +
                           " hostBuild=" + std::to_string(hostBuild);
  if (build < hostBuild) {
    // The text as it stands: a build that is no number is what went wrong here.
    log("candidate build is older than host candidateVersion=" + orEmptyMark(version) +
        " candidateBuild=" + orEmptyMark(buildText) + host);
    throw Error(Error::Case::nonNewerBundleVersion);
  }
  if (build > hostBuild || hostIdentity.allowsSameBuildReplacement) return;
  if (OrvoVersionComparator::compareVersion(version, hostIdentity.applicationVersion) ==
      ComparisonResult::descending) {
    return;
  }
  log("candidate version is not newer candidateVersion=" + orEmptyMark(version) +
      " candidateBuild=" + std::to_string(build) + host + " allowsSameBuildReplacement=false");
  throw Error(Error::Case::nonNewerBundleVersion);
}

void Validator::validateMinimumSystemVersion(const PropertyListDictionary& info) const {
  const std::string required = stringOf(info, "LSMinimumSystemVersion");
  if (required.empty()) return;
  const OperatingSystemVersion current = processInformation_->operatingSystemVersion();
  if (compareSystemVersion(required, current) != ComparisonResult::descending) return;
  log("minimum macOS version unsupported required=" + required + " current=" + current.text());
  throw Error(Error::Case::minimumOSVersionUnsupported);
}

void Validator::validateExecutable(const PropertyListDictionary& info, const Path& appBundle) const {
  const std::string name = stringOf(info, "CFBundleExecutable");
  if (name.empty()) {
    log("missing CFBundleExecutable stagedApp=" + appBundle.string());
    throw Error(Error::Case::missingExecutable);
  }
  // Joined as text: a name that begins with a slash must not lead out of the bundle.
  const Path executable = (appBundle / "Contents" / "MacOS").string() + "/" + name;
  bool isDirectory = false;
  bool isThere = false;
  try {
    isThere = fileSystem_->itemExists(executable, &isDirectory) && !isDirectory;
  } catch (const std::exception&) {
    isThere = false;
  }
  if (isThere) return;
  log("missing executable executableName=" + name + " expectedPath=" + executable.string());
  throw Error(Error::Case::missingExecutable);
}

void Validator::validateCodeSignature(const Path& appBundle) const {
  const CodesignResult result = runCodesign({"--verify", "--strict", "--deep", appBundle.string()});
  if (result.terminationStatus == 0) return;
  log("code signature verification failed status=" + std::to_string(result.terminationStatus) +
      " output=" + shortenedOutput(result.output) + " stagedApp=" + appBundle.string());
  throw Error(Error::Case::signatureValidationFailed);
}

std::string Validator::readTeamIdentifier(const Path& appBundle) const {
  const CodesignResult result = runCodesign({"-dv", "--verbose=4", appBundle.string()});
  if (result.terminationStatus != 0) {
    log("code signature metadata read failed status=" + std::to_string(result.terminationStatus) +
        " output=" + shortenedOutput(result.output) + " stagedApp=" + appBundle.string());
    throw Error(Error::Case::signatureValidationFailed);
  }
  for (const std::string_view line : text::lines(result.output)) {
    if (line.starts_with(teamPrefix)) return std::string(line.substr(teamPrefix.size()));
  }
  log("code signature metadata did not include TeamIdentifier output=" + shortenedOutput(result.output) +
      " stagedApp=" + appBundle.string());
  throw Error(Error::Case::signatureValidationFailed);
}

ComparisonResult Validator::compareSystemVersion(std::string_view required,
                                                 const OperatingSystemVersion& current) {
  std::vector<std::int64_t> pieces;
  while (!required.empty()) {
    const std::size_t dot = required.find('.');
    const std::string_view piece = required.substr(0, dot);
    if (!piece.empty()) pieces.push_back(parseDecimal<std::int64_t>(piece).value_or(0));
    required = dot == std::string_view::npos ? std::string_view() : required.substr(dot + 1);
  }
  const std::array<std::int64_t, 3> running = {current.major, current.minor, current.patch};
  for (std::size_t index = 0; index < std::max(pieces.size(), running.size()); ++index) {
    const std::int64_t wanted = index < pieces.size() ? pieces[index] : 0;
    const std::int64_t present = index < running.size() ? running[index] : 0;
    if (wanted < present) return ComparisonResult::ascending;
    if (wanted > present) return ComparisonResult::descending;
  }
  return ComparisonResult::same;
}

std::string Validator::shortenedOutput(std::string_view output) {
  std::string line;
  for (const char character : text::trimmed(output)) {
    if (character == '\n') {
      line += "\\n";
    } else {
      line += character;
    }
  }
  return line.empty() ? "<empty>" : text::truncatedToCharacters(line, maximumShownCharacters);
}

Validator::CodesignResult Validator::runCodesign(const std::vector<std::string>& arguments) const {
  ChildProcessResult result = childProcesses_->run("/usr/bin/codesign", arguments);
  if (result.launchError) return {1, ""};
  if (!text::isValidUTF8(result.output)) result.output.clear();
  return {result.terminationStatus, std::move(result.output)};
}

void Validator::log(const std::string& message) const {
  diagnosticLog_("OrvoAppBundleCodeSignatureValidator: " + message);
}

}  // namespace pellam

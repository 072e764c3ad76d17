#include "launcher-service/launch_resolver.h"

#include <system_error>
#include <vector>

#include "installer/failure_report.h"
#include "launcher-protocol/launch_refusal.h"
#include "launcher-protocol/replacement_message.h"
#include "pellam/installer_error.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

using Refusal = OrvoAppBundleInstallerLaunchRefusal;
using Resolver = OrvoAppBundleInstallerLauncherServiceLaunchResolver;

bool hasExtension(const std::filesystem::path& path, std::string_view extension) {
  return text::equalsIgnoringCase(path.extension().string(), extension);
}

}  // namespace

Resolver::OrvoAppBundleInstallerLauncherServiceLaunchResolver(Collaborators collaborators)
    : with_(std::move(collaborators)) {
  if (!with_.containingApplicationURLProvider) {
    with_.containingApplicationURLProvider = [files = with_.fileSystem, loader = with_.bundles] {
      return defaultContainingApplicationURL(*files, *loader);
    };
  }
}

std::optional<std::filesystem::path> Resolver::defaultContainingApplicationURL(const FileSystem& fileSystem,
                                                                               const BundleLoading& bundles) {
  const std::filesystem::path service = fileSystem.resolvingSymlinks(bundles.mainBundlePath());
  if (!hasExtension(service, ".xpc")) return std::nullopt;
  std::filesystem::path application = service.parent_path().parent_path().parent_path();
  if (!hasExtension(application, ".app")) return std::nullopt;
  return application;
}

OrvoAppBundleXPCReplacementLaunch Resolver::makeLaunch(const PropertyListDictionary& dictionary) {
  const OrvoAppBundleReplacementRequest asked = OrvoAppBundleXPCReplacementMessage::parse(dictionary).request;

  const std::optional<std::filesystem::path> containing = with_.containingApplicationURLProvider();
  if (!containing) {
    throw Refusal::serviceNotEmbeddedInApplication(
        with_.fileSystem->resolvingSymlinks(with_.bundles->mainBundlePath()).string());
  }
  const std::string requestedPath =
      with_.fileSystem->resolvingSymlinks(asked.installedApplicationURL).string();
  const std::string containingPath = with_.fileSystem->resolvingSymlinks(*containing).string();
  if (requestedPath != containingPath) {
    throw Refusal::installedApplicationPathMismatch(requestedPath, containingPath);
  }
  if (!asked.hostIdentity) throw Refusal::missingHostIdentity();

  OrvoAppBundleXPCReplacementLaunch launch;
  OrvoAppBundleReplacementRequest& request = launch.request;
  request.hostIdentity = with_.hostIdentityResolver->makeHostIdentity(*containing, *asked.hostIdentity);
  request.launchUserContext = with_.launchUserContextProvider();
  request.failureReportURL =
      resolvedFailureReportURL(asked.failureReportURL, request.hostIdentity->bundleIdentifier,
                               request.launchUserContext->homeDirectory);
  request.helperExecutableURL =
      *containing / "Contents" / "MacOS" / OrvoAppBundleUpdateHelperIdentity::executableName;
  if (!with_.fileSystem->isExecutableFile(*request.helperExecutableURL)) {
    throw OrvoUpdateInstallerError(OrvoUpdateInstallerError::Case::replacementHelperUnavailable);
  }
  request.stagedApplicationURL = asked.stagedApplicationURL;
  request.installedApplicationURL = *containing;
  request.shouldRequestAuthorizationIfNeeded = asked.shouldRequestAuthorizationIfNeeded;
  request.failureReportAttemptIdentifier = asked.failureReportAttemptIdentifier;

  launch.hostProcessIdentifier = with_.hostProcessIdentifierProvider();
  if (launch.hostProcessIdentifier < 1) {
    throw Refusal::hostProcessIdentifierUnavailable(launch.hostProcessIdentifier);
  }
  return launch;
}

std::optional<std::filesystem::path> Resolver::resolvedFailureReportURL(
    const std::optional<std::filesystem::path>& requested, const std::string& bundleIdentifier,
    const std::string& homeDirectory) const {
  using Store = OrvoAppBundleUpdateFailureReportStore;
  if (!requested) return std::nullopt;
  const std::filesystem::path requestedPath = with_.fileSystem->resolvingSymlinks(*requested);
  std::vector<std::string> allowedPaths;
  for (const auto& candidate : {Store::userApplicationSupportReportURL(bundleIdentifier, homeDirectory),
                                Store::sandboxContainerReportURL(bundleIdentifier, homeDirectory)}) {
    if (!candidate) continue;
    const std::filesystem::path candidatePath = with_.fileSystem->resolvingSymlinks(*candidate);
    if (candidatePath.native() == requestedPath.native() ||
        reportPathsHaveSameParentAndFilename(requestedPath, candidatePath)) {
      return candidate;
    }
    allowedPaths.push_back(candidatePath.string());
  }
  throw Refusal::failureReportPathNotAllowed(requestedPath.string(), std::move(allowedPaths));
}

bool Resolver::reportPathsHaveSameParentAndFilename(const std::filesystem::path& left,
                                                    const std::filesystem::path& right) const {
  if (left.filename() != right.filename()) return false;
  try {
    const FileAttributes one =
        with_.fileSystem->attributes(with_.fileSystem->resolvingSymlinks(left.parent_path()));
    const FileAttributes other =
        with_.fileSystem->attributes(with_.fileSystem->resolvingSymlinks(right.parent_path()));
    return one.type == FileType::directory && other.type == FileType::directory &&
           one.fileSystemNumber == other.fileSystemNumber && one.fileNumber == other.fileNumber;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace pellam

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

Resolver::OrvoAppBundleInstallerLauncherServiceLaunchResolver(
    ContainingApplicationURLProvider containingApplicationURLProvider,
    std::shared_ptr<OrvoAppBundleInstallerLauncherServiceHostIdentityResolving> hostIdentityResolver,
    std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider,
    std::function<std::int32_t()> hostProcessIdentifierProvider, std::shared_ptr<FileSystem> fileSystem,
    std::shared_ptr<BundleLoading> bundles)
    : containingApplicationURLProvider_(std::move(containingApplicationURLProvider)),
      hostIdentityResolver_(std::move(hostIdentityResolver)),
      launchUserContextProvider_(std::move(launchUserContextProvider)),
      hostProcessIdentifierProvider_(std::move(hostProcessIdentifierProvider)),
      fileSystem_(std::move(fileSystem)),
      bundles_(std::move(bundles)) {
  if (!containingApplicationURLProvider_) {
    containingApplicationURLProvider_ = [files = fileSystem_, loader = bundles_] {
      return defaultContainingApplicationURL(*files, *loader);
    };
  }
}

Resolver::OrvoAppBundleInstallerLauncherServiceLaunchResolver(
    ContainingApplicationURLProvider containingApplicationURLProvider,
    std::shared_ptr<OrvoAppBundleInstallerLauncherServiceHostIdentityResolving> hostIdentityResolver,
    std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider,
    std::function<std::int32_t()> hostProcessIdentifierProvider, std::shared_ptr<FileSystem> fileSystem,
    std::shared_ptr<BundleLoading> bundles, const std::string& /*helperExecutableName*/)
    : OrvoAppBundleInstallerLauncherServiceLaunchResolver(
          std::move(containingApplicationURLProvider), std::move(hostIdentityResolver),
          std::move(launchUserContextProvider), std::move(hostProcessIdentifierProvider),
          std::move(fileSystem), std::move(bundles)) {}

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

  const std::optional<std::filesystem::path> containing = containingApplicationURLProvider_();
  if (!containing) {
    throw Refusal::serviceNotEmbeddedInApplication(
        fileSystem_->resolvingSymlinks(bundles_->mainBundlePath()).string());
  }
  const std::string requestedPath = fileSystem_->resolvingSymlinks(asked.installedApplicationURL).string();
  const std::string containingPath = fileSystem_->resolvingSymlinks(*containing).string();
  if (requestedPath != containingPath) {
    throw Refusal::installedApplicationPathMismatch(requestedPath, containingPath);
  }
  if (!asked.hostIdentity) throw Refusal::missingHostIdentity();

  OrvoAppBundleXPCReplacementLaunch launch;
  OrvoAppBundleReplacementRequest& request = launch.request;
  request.hostIdentity = hostIdentityResolver_->makeHostIdentity(*containing, *asked.hostIdentity);
  request.launchUserContext = launchUserContextProvider_();
  request.failureReportURL =
      resolvedFailureReportURL(asked.failureReportURL, request.hostIdentity->bundleIdentifier,
                               request.launchUserContext->homeDirectory);
  request.helperExecutableURL =
      *containing / "Contents" / "MacOS" / OrvoAppBundleUpdateHelperIdentity::executableName;
  if (!fileSystem_->isExecutableFile(*request.helperExecutableURL)) {
    throw OrvoUpdateInstallerError(OrvoUpdateInstallerError::Case::replacementHelperUnavailable);
  }
  request.stagedApplicationURL = asked.stagedApplicationURL;
  request.installedApplicationURL = *containing;
  request.shouldRequestAuthorizationIfNeeded = asked.shouldRequestAuthorizationIfNeeded;
  request.failureReportAttemptIdentifier = asked.failureReportAttemptIdentifier;

  launch.hostProcessIdentifier = hostProcessIdentifierProvider_();
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
  const std::filesystem::path requestedPath = fileSystem_->resolvingSymlinks(*requested);
  std::vector<std::string> allowedPaths;
  for (const auto& candidate : {Store::userApplicationSupportReportURL(bundleIdentifier, homeDirectory),
                                Store::sandboxContainerReportURL(bundleIdentifier, homeDirectory)}) {
    if (!candidate) continue;
    const std::filesystem::path candidatePath = fileSystem_->resolvingSymlinks(*candidate);
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
    const FileAttributes one = fileSystem_->attributes(fileSystem_->resolvingSymlinks(left.parent_path()));
    const FileAttributes other = fileSystem_->attributes(fileSystem_->resolvingSymlinks(right.parent_path()));
    return one.type == FileType::directory && other.type == FileType::directory &&
           one.fileSystemNumber == other.fileSystemNumber && one.fileNumber == other.fileNumber;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace pellam

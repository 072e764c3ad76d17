#include "launcher-protocol/service_info.h"

#include "platform/bundle_loading.h"

namespace pellam {

std::string OrvoAppBundleInstallerLauncherServiceInfo::serviceName(
    const std::optional<std::string>& hostBundleIdentifier) {
  if (!hostBundleIdentifier || hostBundleIdentifier->empty()) return fallbackServiceName;
  return *hostBundleIdentifier + serviceNameSuffix;
}

std::string OrvoAppBundleInstallerLauncherServiceInfo::currentHostServiceName(const BundleLoading& bundles) {
  const std::optional<Bundle> bundle = bundles.bundleAt(bundles.mainBundlePath());
  return serviceName(bundle ? bundle->bundleIdentifier() : std::nullopt);
}

}  // namespace pellam

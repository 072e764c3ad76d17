#pragma once

#include <optional>
#include <string>

namespace pellam {

class BundleLoading;

// How an application's launcher service is called. The name is the service bundle's identifier and the name
// of its folder, without the extension "xpc".
struct OrvoAppBundleInstallerLauncherServiceInfo {
  static constexpr const char* serviceNameSuffix = ".Pellam.UpdateInstallerLauncherService";
  static constexpr const char* fallbackServiceName = "com.tarnvale.Pellam.UpdateInstallerLauncherService";

  // The identifier followed by the suffix; the fallback name for an absent or empty identifier.
  [[nodiscard]] static std::string serviceName(const std::optional<std::string>& hostBundleIdentifier);
  // The name for the bundle that holds the running executable.
  [[nodiscard]] static std::string currentHostServiceName(const BundleLoading& bundles);
};

}  // namespace pellam

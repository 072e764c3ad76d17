#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "launcher-protocol/replacement_request.h"
#include "pellam/app_identity.h"
#include "pellam/host_errors.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"

namespace pellam {

// What a host has to know of the application that it keeps current. A value.
struct InstalledApplication {
  std::filesystem::path path;  // links resolved
  PellamAppIdentity identity;
  std::int64_t build = 0;                     // 0 when CFBundleVersion is no integer
  std::optional<std::string> teamIdentifier;  // of its signature, where it has one

  [[nodiscard]] std::filesystem::path helperExecutable() const;
  [[nodiscard]] OrvoAppBundleUpdateHostIdentity hostIdentity() const;
};

// Reads the bundle and asks the signing tool for its team; blocks while the tool runs. Throws
// InstalledApplicationError for a path that is no application bundle and for a bundle without an identifier.
// `signingTool` must carry the tools of this very bundle or be the platform's own.
[[nodiscard]] InstalledApplication readInstalledApplication(const std::filesystem::path& path,
                                                            const BundleLoading& bundles,
                                                            ChildProcessRunning& signingTool);

}  // namespace pellam

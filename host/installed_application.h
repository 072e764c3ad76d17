#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "foundation/app_identity.h"
#include "launcher-protocol/replacement_request.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"

namespace pellam {

// The application bundle cannot be updated by this system; what() is one line that says why.
class InstalledApplicationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

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

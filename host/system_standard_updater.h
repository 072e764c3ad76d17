#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "host/standard_updater.h"

namespace pellam {

// The standard updater over the system's own bodies, for an application whose windows are the system's. Make
// it on the main thread. `hostBundle` is the running application's bundle; `terminate` ends the application;
// without a logger nothing is logged, without settings they are kept in the user's preferences. The
// operating system's version and the user's language are filled in where the configuration leaves them out.
// Throws InstalledApplicationError for a bundle that cannot be updated, and DisplayUnavailable.
[[nodiscard]] std::unique_ptr<OrvoStandardUpdater> makeSystemStandardUpdater(
    const std::filesystem::path& hostBundle, OrvoStandardUpdaterConfiguration configuration,
    std::function<void()> terminate, const std::shared_ptr<PellamLogger>& logger = nullptr,
    const std::shared_ptr<PellamKeyValueStoring>& settings = nullptr);

}  // namespace pellam

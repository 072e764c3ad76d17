#pragma once

#include <string>

#include "pellam/installer_error.h"

namespace [[gnu::visibility("default")]] pellam {

// One English sentence for an install error, for logs and for programs without windows; the payload is at its
// end. Windows show the localised alerts instead.
//
// For example:
//
//     const OrvoUpdateInstallerError error(OrvoUpdateInstallerError::Case::downloadFailed);
//     assert(!installerErrorText(error).empty());
[[nodiscard]] std::string installerErrorText(const OrvoUpdateInstallerError& error);

}  // namespace pellam

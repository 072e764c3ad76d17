#pragma once

#include <exception>

#include "pellam/installer_error.h"

namespace pellam {

// How the installer helper ends. Scripts and job records depend on these numbers: they are never reused.
namespace exit_status {
inline constexpr int success = 0;
inline constexpr int malformedCommandLine = 64;
inline constexpr int unexpectedError = 70;   // an error of the system outside every case
inline constexpr int hostStillRunning = 75;  // nothing was touched; a later attempt may succeed
}  // namespace exit_status

// The status of one case: 80 and up, one number each, the cases that only other processes raise included.
[[nodiscard]] int exitStatusFor(OrvoUpdateInstallerError::Case errorCase);

// The status of whatever a replacement threw.
[[nodiscard]] int exitStatusFor(const std::exception& error);

}  // namespace pellam

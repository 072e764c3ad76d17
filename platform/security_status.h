#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace pellam {

// The platform's authorization statuses that this system tests for or answers itself. Others pass through.
namespace security_status {
inline constexpr std::int32_t success = 0;
inline constexpr std::int32_t invalidReference = -60002;
inline constexpr std::int32_t denied = -60005;
inline constexpr std::int32_t canceled = -60006;
inline constexpr std::int32_t interactionNotAllowed = -60007;
inline constexpr std::int32_t internal = -60008;
}  // namespace security_status

// The system's text for a security status ("SecCopyErrorMessageString"), if it has one. A pure function of
// the platform.
[[nodiscard]] std::optional<std::string> securityErrorMessage(std::int32_t status);

}  // namespace pellam

#pragma once

#include <string_view>

#include "platform/process_information.h"

namespace pellam {

// The version that the text of an os-release file states in VERSION_ID; parts that are missing or no number
// count as 0.
[[nodiscard]] OperatingSystemVersion operatingSystemVersionFromRelease(std::string_view release);

}  // namespace pellam

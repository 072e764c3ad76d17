#pragma once

#include <string>

#include "pellam/app_identity.h"

namespace pellam {

// What an application calls itself to servers, in the form of the User-Agent header: its name and version,
// for example "Editor/2.4.1". Characters that the header's form has no room for are percent-encoded; without
// a name the bundle identifier stands for it, and a version that is missing is left out.
[[nodiscard]] std::string userAgentText(const PellamAppIdentity& application);

}  // namespace pellam

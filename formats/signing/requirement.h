#pragma once

#include <optional>
#include <span>
#include <string>

#include "formats/signing/digest.h"

namespace pellam::codesign {

// The designated requirement: what a later version must fulfil to count as the same application. The
// identifier and the signer's team, or, without a team, the identifier and the very certificate.
struct DesignatedRequirement {
  std::string identifier;
  std::optional<std::string> team;
  CodeHash certificateHash{};  // SHA-1 of the certificate; used without a team

  // The requirement set with this one requirement, as it lies beside the code directory.
  [[nodiscard]] Bytes encodedSet() const;
  // In the requirement language: identifier "x" and certificate leaf[subject.OU] = "TEAM".
  [[nodiscard]] std::string text() const;
};

}  // namespace pellam::codesign

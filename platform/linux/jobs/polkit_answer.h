#pragma once

#include <cstdint>
#include <string>

#include "platform/security_status.h"

namespace pellam {

// What the system's authority says to one question, and what it means as a security status. Whatever is not a
// clear yes is a refusal.
struct PolkitAnswer {
  bool isAuthorized = false;
  bool isChallenge = false;
  bool isDismissed = false;
  std::string errorName;  // the bus error, when the question was not answered

  // The caller may not choose the words of the question.
  [[nodiscard]] bool isRefusedToCaller() const {
    return errorName == "org.freedesktop.PolicyKit1.Error.NotAuthorized";
  }
  // The authority reports an action that nobody installed as a plain failure.
  [[nodiscard]] bool isUnknownAction() const {
    return errorName == "org.freedesktop.PolicyKit1.Error.Failed";
  }

  [[nodiscard]] std::int32_t status() const {
    if (!errorName.empty()) return security_status::denied;
    if (isAuthorized) return security_status::success;
    if (isDismissed) return security_status::canceled;
    if (isChallenge) return security_status::interactionNotAllowed;
    return security_status::denied;
  }
};

}  // namespace pellam

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pellam/cancellation.h"

namespace pellam {

// The platform's authorization object, opaque outside its body. Whoever creates one frees it once.
struct PlatformAuthorization;
using AuthorizationReference = PlatformAuthorization*;

namespace authorization_flags {
inline constexpr std::uint32_t defaults = 0;
inline constexpr std::uint32_t interactionAllowed = 1;
inline constexpr std::uint32_t extendRights = 2;
}  // namespace authorization_flags

// The four authorization calls of the platform, one to one. Each answers the platform's status, 0 for
// success; see platform/security_status.h. Blocks; with interaction for as long as the user is
// asked. Any thread, but one reference is used by one thread at a time.
class OrvoAppBundleSecurityAuthorizationClient {
 public:
  virtual ~OrvoAppBundleSecurityAuthorizationClient() = default;

  // No rights, no environment. The reference stays null when the status is not 0.
  [[nodiscard]] virtual std::int32_t authorizationCreate(std::uint32_t flags,
                                                         AuthorizationReference& reference) = 0;
  // Asks for the rights in their order, each without value and flags, without environment. With interaction,
  // every question that the rights need is asked here, and none when they are used. A cancelled token ends
  // the question, with the status of a question that the user cancelled, where the system can be told to;
  // where it cannot, the answer comes when the user gives it.
  [[nodiscard]] virtual std::int32_t authorizationCopyRights(AuthorizationReference reference,
                                                             const std::vector<std::string>& rightNames,
                                                             std::uint32_t flags,
                                                             const CancellationToken& cancellation) = 0;
  // Defines a right by the name of a rule; the prompt is what the user reads when asked for it.
  [[nodiscard]] virtual std::int32_t authorizationRightSet(AuthorizationReference reference,
                                                           const std::string& rightName,
                                                           const std::string& ruleDefinition,
                                                           const std::string& descriptionKey) = 0;
  // Whatever the rights were kept by goes, too.
  virtual std::int32_t authorizationFree(AuthorizationReference reference, std::uint32_t flags) = 0;
};

[[nodiscard]] std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient>
makeSystemSecurityAuthorizationClient();

}  // namespace pellam

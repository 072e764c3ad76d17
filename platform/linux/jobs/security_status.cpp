#include "platform/security_status.h"

#include <array>
#include <optional>
#include <string>
#include <utility>

namespace pellam {

std::optional<std::string> securityErrorMessage(std::int32_t status) {
  constexpr std::array<std::pair<std::int32_t, const char*>, 5> messages = {{
      {security_status::invalidReference, "There is no valid authorization."},
      {security_status::denied, "Authorization was denied."},
      {security_status::canceled, "The user canceled the authorization."},
      {security_status::interactionNotAllowed,
       "Authorization needs the user, and nobody can be asked in this session."},
      {security_status::internal, "The authorization service failed."},
  }};
  for (const auto& [code, message] : messages) {
    if (code == status) return message;
  }
  return std::nullopt;
}

}  // namespace pellam

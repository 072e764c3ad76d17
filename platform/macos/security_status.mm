#include "platform/security_status.h"

#import <Security/Security.h>

#include "platform/macos/foundation_bridge.h"

namespace pellam {

std::optional<std::string> securityErrorMessage(std::int32_t status) {
  NSString* message = CFBridgingRelease(SecCopyErrorMessageString(status, nullptr));
  if (message == nil) return std::nullopt;
  return macos::textOf(message);
}

}  // namespace pellam

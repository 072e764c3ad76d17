#import <Security/Security.h>

#include "launcher-protocol/launch_result.h"
#include "platform/macos/foundation_bridge.h"

namespace pellam {

std::optional<std::string> securityErrorMessage(std::int32_t status) {
  NSString* message = CFBridgingRelease(SecCopyErrorMessageString(status, nullptr));
  if (message == nil) return std::nullopt;
  return macos::textOf(message);
}

}  // namespace pellam

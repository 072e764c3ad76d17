#include "platform/system_log.h"

#include "platform/macos/foundation_bridge.h"

namespace pellam {

DiagnosticLog makeSystemLog() {
  return DiagnosticLog([](const std::string& line) { NSLog(@"%@", macos::stringFrom(visibleText(line))); });
}

}  // namespace pellam

#include "pellam/bridged_error.h"

#include <system_error>

namespace pellam {

BridgedError bridge(const std::exception& error) {
  if (const auto* own = dynamic_cast<const PellamError*>(&error)) return own->bridged();
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    return {"NSPOSIXErrorDomain", system->code().value(), system->code().message()};
  }
  return {"Pellam.Unexpected", 0, error.what()};
}

}  // namespace pellam

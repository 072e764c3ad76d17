#pragma once

#include <string>

#include "platform/identifiers.h"

namespace pellam::testing_support {

// Counts up: "00000000-0000-4000-8000-000000000001", …
struct CountingIdentifiers final : UUIDGenerating {
  std::string makeUUID() override {
    const std::string number = std::to_string(++count);
    return "00000000-0000-4000-8000-" + std::string(12 - number.size(), '0') + number;
  }
  int count = 0;
};

}  // namespace pellam::testing_support

#pragma once

#include <chrono>

#include "platform/clock.h"

namespace pellam::testing_support {

// Stands still.
struct FixedClock final : PellamClock {
  Date date = Date(std::chrono::hours(24 * 20'000));
  Date now() const override { return date; }
};

}  // namespace pellam::testing_support

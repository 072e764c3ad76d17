#pragma once

#include <cstdint>
#include <functional>

#include "pellam/date.h"

namespace pellam {

// What time it is. Tests supply a fixed one.
class PellamClock {
 public:
  virtual ~PellamClock() = default;
  [[nodiscard]] virtual Date now() const = 0;
};

class PellamSystemClock final : public PellamClock {
 public:
  [[nodiscard]] Date now() const override {
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
  }
};

// Nanoseconds on a clock that never goes backwards and stands still while the machine sleeps; only
// differences mean something.
using MonotonicTimeProvider = std::function<std::uint64_t()>;

}  // namespace pellam

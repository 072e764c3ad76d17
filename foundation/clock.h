#pragma once

#include <cstdint>
#include <functional>

#include "foundation/date.h"

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

// Nanoseconds on a clock that never goes backwards; only differences mean something.
using MonotonicTimeProvider = std::function<std::uint64_t()>;

[[nodiscard]] inline std::uint64_t systemMonotonicNanoseconds() {
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                        std::chrono::steady_clock::now().time_since_epoch())
                                        .count());
}

}  // namespace pellam

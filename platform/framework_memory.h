#pragma once

#include <functional>

namespace pellam {

// Runs one job of a thread that lives on, and throws what the job throws.
using FrameworkMemoryScope = std::function<void(const std::function<void()>& job)>;

// Gives back after the job what the system's frameworks would otherwise keep until the thread ends. Any
// thread.
[[nodiscard]] FrameworkMemoryScope makeSystemFrameworkMemoryScope();

}  // namespace pellam

#include "platform/framework_memory.h"

namespace pellam {

// No library of this system keeps anything for the thread.
FrameworkMemoryScope makeSystemFrameworkMemoryScope() {
  return [](const std::function<void()>& job) { job(); };
}

}  // namespace pellam

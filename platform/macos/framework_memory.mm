#include "platform/framework_memory.h"

namespace pellam {

FrameworkMemoryScope makeSystemFrameworkMemoryScope() {
  return [](const std::function<void()>& job) {
    @autoreleasepool {
      job();
    }
  };
}

}  // namespace pellam

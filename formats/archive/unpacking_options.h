#pragma once

#include <atomic>

#include "formats/archive/unpacking_plan.h"

namespace pellam::archive {

struct UnpackingOptions {
  UnpackingLimits limits;
  unsigned workers = 0;                     // 0: one per processor, at most eight
  const std::atomic<bool>* stop = nullptr;  // set by the caller to give up soon
};

}  // namespace pellam::archive

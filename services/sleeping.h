#pragma once

#include <cstdint>
#include <functional>

#include "pellam/cancellation.h"

namespace pellam {

// Sleeps for the nanoseconds; throws OperationCancelled as soon as the token is cancelled. Blocks the thread.
using CancellableSleep =
    std::function<void(std::uint64_t nanoseconds, const CancellationToken& cancellation)>;

// Sleeps on a condition variable with the steady clock.
void systemSleep(std::uint64_t nanoseconds, const CancellationToken& cancellation);

}  // namespace pellam

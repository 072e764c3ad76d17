#include "services/sleeping.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

namespace pellam {
namespace {

TEST(SleepingTest, ASleeperWakesAtOnce) {
  CancellationSource source;
  std::thread canceller([&] { source.cancel(); });
  EXPECT_THROW(systemSleep(UINT64_MAX, source.token()), OperationCancelled);
  canceller.join();
  EXPECT_NO_THROW(systemSleep(1, CancellationToken()));
}

}  // namespace
}  // namespace pellam

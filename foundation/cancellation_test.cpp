#include "pellam/cancellation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace pellam {
namespace {

TEST(CancellationTest, HandlersRunOnceWhenCancelled) {
  CancellationSource source;
  int early = 0;
  int dropped = 0;
  const CancellationRegistration kept = source.token().onCancel([&] { ++early; });
  {
    const CancellationRegistration gone = source.token().onCancel([&] { ++dropped; });
  }
  EXPECT_NO_THROW(source.token().throwIfCancelled());
  source.cancel();
  source.cancel();
  EXPECT_EQ(early, 1);
  EXPECT_EQ(dropped, 0);
  int late = 0;
  const CancellationRegistration after = source.token().onCancel([&] { ++late; });
  EXPECT_EQ(late, 1);
  EXPECT_THROW(source.token().throwIfCancelled(), OperationCancelled);
  EXPECT_FALSE(CancellationToken().isCancelled());
}

TEST(CancellationTest, AHandlerMayLetGoOfItself) {
  CancellationSource source;
  CancellationRegistration registration;
  registration = source.token().onCancel([&] { registration = {}; });
  source.cancel();
  SUCCEED();
}

TEST(CancellationTest, LettingGoWaitsForARunningHandler) {
  for (int round = 0; round < 50; ++round) {
    CancellationSource source;
    std::atomic<bool> isInside = false;
    std::atomic<bool> isDone = false;
    CancellationRegistration registration = source.token().onCancel([&] {
      isInside = true;
      std::this_thread::yield();
      isDone = true;
    });
    std::thread canceller([&] { source.cancel(); });
    while (!isInside) std::this_thread::yield();
    registration = {};
    EXPECT_TRUE(isDone);
    canceller.join();
  }
}

}  // namespace
}  // namespace pellam

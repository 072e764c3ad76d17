#include "foundation/handler_gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace pellam {
namespace {

TEST(HandlerGateTest, NothingRunsOnceItIsClosed) {
  HandlerGate gate;
  int calls = 0;
  gate.pass([&] { ++calls; });
  gate.close();
  gate.pass([&] { ++calls; });
  EXPECT_EQ(calls, 1);
}

TEST(HandlerGateTest, ClosingWaitsForTheHandlerThatRuns) {
  HandlerGate gate;
  std::atomic<bool> hasStarted = false;
  std::atomic<bool> hasEnded = false;
  std::thread caller([&] {
    gate.pass([&] {
      hasStarted = true;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      hasEnded = true;
    });
  });
  while (!hasStarted) std::this_thread::yield();
  gate.close();
  EXPECT_TRUE(hasEnded);
  caller.join();
}

TEST(HandlerGateTest, AHandlerMayCloseItsOwnGate) {
  HandlerGate gate;
  int calls = 0;
  gate.pass([&] {
    gate.pass([&] { gate.close(); });
    ++calls;
    gate.pass([&] { ++calls; });
  });
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace pellam

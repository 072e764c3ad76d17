#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "foundation/handler_gate.h"
#include "foundation/nesting_guard.h"

// What the bodies of a system need whose frameworks call from threads of their own and read lists
// recursively.
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

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int index = 0; index < count; ++index) result += text;
  return result;
}

TEST(NestingGuardTest, SeesEveryNestingOfTheTextForms) {
  std::string wide;
  for (const char c : repeated("<array>", 129)) wide += std::string{'\0', c};
  const struct {
    const char* name;
    std::string text;
    bool isDeeper;
  } rows[] = {
      {"elements", repeated("<array>", 129), true},
      {"as many as allowed", repeated("<array>", 128) + repeated("</array>", 128), false},
      {"tags with spaces and attributes", repeated("<dict a='b' >", 129), true},
      {"one after the other", repeated("<array></array >", 5'000), false},
      {"empty elements", repeated("<array/>", 600) + repeated("<dict />", 600), false},
      {"empty elements do not hide those that follow", repeated("<array/>", 10) + repeated("<dict>", 129),
       true},
      {"two bytes for each character", wide, true},
      {"brackets", repeated("(", 129), true},
      {"braces", repeated("{a=", 129), true},
      {"a strings table", repeated("\"a (b)\" = \"c\";", 5'000), false},
      {"closing tags in comments", repeated("<array><!-- </array> -->", 129), true},
      {"closing tags in character data", repeated("<array><![CDATA[</array>]]>", 129), true},
      {"an empty element only by its looks", repeated("<array a='/>", 129), true},
      {"data before brackets", "(<00>," + repeated("(", 129), true},
      {"closing brackets in texts", repeated("(\")\\\")\",", 129), true},
      {"closing brackets in comments", repeated("(/* ) */// )\n", 129), true},
      {"slashes that begin no comment", repeated("(a//,", 129), true},
      {"quotes in comments", repeated("( // it's\n", 129), true},
      {"wide characters made of brackets", "\xff\xfe(" + std::string("\0", 1) + repeated("()))", 600), false},
      {"brackets in the texts of elements", "<string>" + repeated("(", 600) + "</string>", false},
      {"binary", "bplist00" + repeated("(", 600), false},
      {"nothing", "", false},
  };
  for (const auto& row : rows) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(row.text.data());
    EXPECT_EQ(textNestsDeeperThan({bytes, row.text.size()}, 128), row.isDeeper) << row.name;
  }
}

}  // namespace
}  // namespace pellam

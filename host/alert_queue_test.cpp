#include "host/alert_queue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace pellam {
namespace {

TEST(AlertQueueTest, WhatArrivesDuringAnAlertFollowsItInOrder) {
  AlertQueue queue;
  std::vector<std::string> events;
  const auto note = [&](const char* event) { return [&events, event] { events.emplace_back(event); }; };
  queue.present([&] {
    EXPECT_TRUE(queue.isAlertOpen());
    queue.whenNoAlertIsOpen(note("work"));
    queue.present([&] {
      EXPECT_TRUE(queue.isAlertOpen());
      events.emplace_back("second alert");
      queue.whenNoAlertIsOpen(note("work of the second"));
    });
    queue.whenNoAlertIsOpen(note("more work"));
    events.emplace_back("first alert");
  });
  EXPECT_EQ(events, (std::vector<std::string>{"first alert", "work", "second alert", "more work",
                                              "work of the second"}));
  EXPECT_FALSE(queue.isAlertOpen());
  queue.whenNoAlertIsOpen(note("at once"));
  EXPECT_EQ(events.back(), "at once");
}

TEST(AlertQueueTest, AnAlertThatFailsIsNoLongerOpen) {
  AlertQueue queue;
  bool hasRun = false;
  EXPECT_THROW(queue.present([&] {
    queue.whenNoAlertIsOpen([&] { hasRun = true; });
    throw std::runtime_error("no display");
  }),
               std::runtime_error);
  EXPECT_FALSE(queue.isAlertOpen());
  EXPECT_FALSE(hasRun);
  queue.present([&] { queue.clear(); });
  EXPECT_FALSE(hasRun);
}

}  // namespace
}  // namespace pellam

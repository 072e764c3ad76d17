#include "host/automatic_check_schedule.h"

#include <gtest/gtest.h>

#include "tests/support/updater_fakes.h"

namespace pellam {
namespace {

using namespace std::chrono_literals;
using testing_support::MemorySettings;

class AutomaticCheckScheduleTest : public testing::Test {
 protected:
  // Hours from the beginning to the next check, seen that many hours after it.
  double nextAfter(std::chrono::minutes time) const {
    return std::chrono::duration<double, std::ratio<3600>>(schedule_.nextCheckDate(begin_ + time) - begin_)
        .count();
  }

  const Date begin_{std::chrono::hours(24 * 20'000)};
  std::shared_ptr<MemorySettings> store_ = std::make_shared<MemorySettings>();
  std::shared_ptr<UpdateSettings> settings_ = std::make_shared<UpdateSettings>(store_);
  AutomaticCheckSchedule schedule_{store_, settings_};
};

TEST_F(AutomaticCheckScheduleTest, ChecksAtOnceTheFirstTimeAndThenDaily) {
  EXPECT_EQ(nextAfter(0h), 0);
  schedule_.noteCheck(begin_, AutomaticCheckSchedule::Interval::usual);
  EXPECT_EQ(nextAfter(1h), 24);
  EXPECT_EQ(nextAfter(30h), 24) << "what is overdue is due";
  settings_->setNextFetchDate(begin_ + 2h);
  schedule_.noteCheck(begin_, AutomaticCheckSchedule::Interval::stated);
  EXPECT_EQ(nextAfter(1h), 2) << "a stated interval stays";
}

TEST_F(AutomaticCheckScheduleTest, DoesNotWaitForATimeThatWasNeverMeant) {
  schedule_.noteCheck(begin_ + 1000h, AutomaticCheckSchedule::Interval::usual);
  EXPECT_EQ(nextAfter(5h), 5) << "the clock was set back";
  EXPECT_EQ(nextAfter(1001h), 1024);
  schedule_.noteFailure(begin_);
  EXPECT_EQ(nextAfter(0h), 0.25);
}

TEST_F(AutomaticCheckScheduleTest, WaitsLongerAfterEachFailure) {
  double now = 0;
  for (const double delay : {0.25, 0.5, 1.0, 2.0, 4.0, 4.0}) {
    schedule_.noteFailure(begin_ + std::chrono::minutes(static_cast<int>(now * 60)));
    EXPECT_EQ(nextAfter(std::chrono::minutes(static_cast<int>(now * 60))), now + delay);
    now += delay;
  }
  EXPECT_EQ(AutomaticCheckSchedule(store_, settings_).nextCheckDate(begin_ + 8h), begin_ + 705min)
      << "a restart waits as long";
  schedule_.noteCheck(begin_ + 12h, AutomaticCheckSchedule::Interval::usual);
  schedule_.noteFailure(begin_ + 13h);
  EXPECT_EQ(nextAfter(13h), 36) << "a check by hand that failed brings none forward";
  schedule_.noteFailure(begin_ + 36h);
  EXPECT_EQ(nextAfter(36h), 36.5);
}

TEST_F(AutomaticCheckScheduleTest, ComesBackWhenTheReminderIsDue) {
  struct Row {
    std::int64_t reminderHours;
    double dueBefore, dueAfter;
  };
  const std::vector<Row> rows = {
      {24, 1000, 24}, {24, 5, 5}, {-7, 1000, 1}, {0, 1000, 1}, {INT64_MAX, 1'000'000, 8760}};
  for (const Row& row : rows) {
    store_->set(row.reminderHours, "PellamUpdateReminderHours");
    settings_->setNextFetchDate(begin_ + std::chrono::hours(static_cast<std::int64_t>(row.dueBefore)));
    schedule_.noteReminder(begin_);
    EXPECT_EQ(nextAfter(0h), row.dueAfter) << row.reminderHours;
  }
}

// A full disk, or a home folder that cannot be written.
TEST(AutomaticCheckScheduleWithoutMemoryTest, NeverLetsOneCheckLeadStraightToTheNext) {
  struct ForgetfulSettings final : PellamKeyValueStoring {
    bool boolForKey(std::string_view) const override { return false; }
    std::optional<std::string> stringForKey(std::string_view) const override { return std::nullopt; }
    std::int64_t integerForKey(std::string_view) const override { return 0; }
    double doubleForKey(std::string_view) const override { return 0; }
    std::optional<PropertyListValue> objectForKey(std::string_view) const override { return std::nullopt; }
    void set(std::optional<PropertyListValue>, std::string_view) override {}
    void removeObjectForKey(std::string_view) override {}
  };
  const Date begin{std::chrono::hours(24 * 20'000)};
  const auto store = std::make_shared<ForgetfulSettings>();
  AutomaticCheckSchedule schedule(store, std::make_shared<UpdateSettings>(store));
  EXPECT_EQ(schedule.nextCheckDate(begin), begin);
  schedule.noteCheck(begin, AutomaticCheckSchedule::Interval::stated);
  EXPECT_EQ(schedule.nextCheckDate(begin), begin + 1h);
  schedule.noteFailure(begin + 1h);
  EXPECT_EQ(schedule.nextCheckDate(begin + 1h), begin + 75min);
  EXPECT_EQ(schedule.nextCheckDate(begin - 48h), begin - 48h) << "the clock was set back";
}

}  // namespace
}  // namespace pellam

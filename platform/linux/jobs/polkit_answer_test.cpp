#include "platform/linux/jobs/polkit_answer.h"

#include <gtest/gtest.h>

namespace pellam {
namespace {

TEST(PolkitAnswer, GrantsNothingButAClearYes) {
  struct Row {
    PolkitAnswer answer;
    std::int32_t status;
  };
  const Row rows[] = {
      {{true, false, false, ""}, 0},
      {{false, false, false, ""}, -60005},
      {{false, true, false, ""}, -60007},
      {{false, true, true, ""}, -60006},
      {{false, false, true, ""}, -60006},
      {{true, false, false, "org.freedesktop.DBus.Error.ServiceUnknown"}, -60005},
      {{true, false, false, "org.freedesktop.PolicyKit1.Error.Cancelled"}, -60005},
  };
  for (const Row& row : rows) EXPECT_EQ(row.answer.status(), row.status) << row.answer.errorName;
}

}  // namespace
}  // namespace pellam

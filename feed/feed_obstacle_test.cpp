#include <gtest/gtest.h>

#include "feed/feed_eligibility.h"
#include "foundation/date_text.h"

namespace pellam {
namespace {

using Obstacle = OrvoUpdateFeedObstacle;

struct Contexts {
  OrvoUpdateFeedApplicabilityContext applicability;
  OrvoUpdateFeedDisplayContext display;
};

TEST(FeedObstacleTest, TheFirstRuleThatKeepsAnEntryBackIsNamed) {
  const struct {
    const char* name;
    std::initializer_list<PropertyListDictionary::Entry> changes;
    void (*adjust)(Contexts&);
    std::optional<Obstacle> expected;
  } rows[] = {
      {"none", {}, nullptr, std::nullopt},
      {"type", {{"type", "news"}, {"os", "99"}}, nullptr, Obstacle::otherType},
      {"off",
       {{"os", "99"}},
       [](Contexts& c) { c.applicability.canProcessUpdateFeeds = false; },
       Obstacle::switchedOff},
      {"version", {{"version", "3.0"}, {"os", "99"}}, nullptr, Obstacle::installedVersion},
      {"edition", {{"sku", "pro"}}, nullptr, Obstacle::edition},
      {"language", {{"lang", "de"}}, nullptr, Obstacle::language},
      {"system", {{"os", "99"}, {"current", "1.0"}}, nullptr, Obstacle::operatingSystem},
      {"roll-out",
       {{"releasedate", "2024-05-10"}},
       [](Contexts& c) {
         c.applicability.shouldApplyUserStaggering = true;
         c.applicability.userStaggerGroup = 3;
       },
       Obstacle::stagedRollOut},
      {"not newer", {{"current", "1.9b1"}}, nullptr, Obstacle::notNewer},
      {"beta", {{"current", "3.0b1"}}, nullptr, Obstacle::betaNotWanted},
      {"identifier", {{"id", ""}}, nullptr, Obstacle::noIdentifier},
      {"shown an hour ago",
       {},
       [](Contexts& c) {
         c.display.lastNewsDisplayedDate = c.display.now - std::chrono::hours(1);
         c.display.checkUpdatesAfterHours = 24;
       },
       Obstacle::shownBefore},
      {"shown once",
       {},
       [](Contexts& c) {
         c.display.canProcessUpdateFeeds = false;
         c.display.storedFeedIdentifier = "offer";
       },
       Obstacle::shownBefore},
  };
  for (const auto& row : rows) {
    Contexts contexts;
    contexts.applicability.appVersion = contexts.display.appVersion = "2.0";
    contexts.applicability.currentOSVersion = "14.5";
    contexts.applicability.canProcessUpdateFeeds = contexts.display.canProcessUpdateFeeds = true;
    contexts.applicability.now = contexts.display.now = *parseISO8601("2024-05-10T12:00:00Z");
    FeedEntry entry{{"type", "update"}, {"current", "2.1"}, {"id", "offer"}};
    for (const auto& [key, value] : row.changes) entry.set(key, value);
    if (row.adjust != nullptr) row.adjust(contexts);
    EXPECT_EQ(OrvoUpdateFeedEligibilityEvaluator().obstacle(entry, contexts.applicability, contexts.display,
                                                            OrvoUpdateVersionComparison::compare),
              row.expected)
        << row.name;
  }
}

}  // namespace
}  // namespace pellam

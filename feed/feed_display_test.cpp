#include <gtest/gtest.h>

#include "feed/feed_eligibility.h"
#include "foundation/date_text.h"

namespace pellam {
namespace {

using Context = OrvoUpdateFeedDisplayContext;
using Applicability = OrvoUpdateFeedApplicabilityResult;

Context baseContext() {
  Context context;
  context.appVersion = "2.1.0";
  context.canProcessUpdateFeeds = true;
  context.now = *parseISO8601("2024-05-11T09:59:00Z");
  context.lastNewsDisplayedDate = parseISO8601("2024-05-10T10:00:00Z");
  context.checkUpdatesAfterHours = 24;
  context.storedFeedIdentifier = "stored";
  return context;
}

// "E" eligible, "S" shown, then the identifiers.
std::string shown(const OrvoUpdateFeedDisplayResult& result) {
  std::string text = result.isEligibleForProcessing ? "E" : "-";
  if (result.shouldDisplayNow) text += 'S';
  return text + " " + result.resolvedFeedIdentifier.value_or("none") + " " +
         result.effectiveStoredFeedIdentifier.value_or("none");
}

OrvoUpdateFeedDisplayResult evaluate(const FeedEntry& entry, const Applicability& applicability,
                                     const Context& context) {
  return OrvoUpdateFeedEligibilityEvaluator().evaluateDisplay(entry, applicability, context,
                                                              OrvoUpdateVersionComparison::compare);
}

TEST(FeedDisplayTest, RemindsOnlyWhenDue) {
  const struct {
    const char* name;
    FeedEntry entry;
    void (*adjust)(Context&, Applicability&);
    const char* expected;
  } rows[] = {
      {"a minute early", {}, [](Context&, Applicability&) {}, "- offer stored"},
      {"on time",
       {},
       [](Context& c, Applicability&) { c.now += std::chrono::minutes(1); },
       "ES offer stored"},
      {"never shown before",
       {},
       [](Context& c, Applicability&) { c.lastNewsDisplayedDate.reset(); },
       "ES offer stored"},
      {"asked for", {}, [](Context& c, Applicability&) { c.isManualCheck = true; }, "ES offer stored"},
      {"must update", {{"mustupdate", "2.1"}}, [](Context&, Applicability&) {}, "ES offer stored"},
      {"must update from another version",
       {{"mustupdate", "2.2"}},
       [](Context&, Applicability&) {},
       "- offer stored"},
      {"empty must update",
       {{"mustupdate", ""}},
       [](Context& c, Applicability&) { c.appVersion = ""; },
       "- offer stored"},
      {"new build", {}, [](Context&, Applicability& a) { a.isNewBuild = true; }, "ES offer stored"},
      {"only a new build",
       {},
       [](Context&, Applicability& a) {
         a.isNewBuild = true;
         a.isUpdate = false;
       },
       "ES offer stored"},
      {"negative interval counts as none",
       {},
       [](Context& c, Applicability&) {
         c.lastNewsDisplayedDate = c.now + std::chrono::seconds(1);
         c.checkUpdatesAfterHours = -5;
       },
       "- offer stored"},
      {"negative interval, just shown",
       {},
       [](Context& c, Applicability&) {
         c.lastNewsDisplayedDate = c.now;
         c.checkUpdatesAfterHours = INT64_MIN;
       },
       "ES offer stored"},
      {"shown before 1970",
       {},
       [](Context& c, Applicability&) { c.lastNewsDisplayedDate = Date() - std::chrono::hours(1); },
       "ES offer stored"},
      {"shown before 1970, and not due for ages",
       {},
       [](Context& c, Applicability&) {
         c.lastNewsDisplayedDate = Date::min();
         c.checkUpdatesAfterHours = INT64_MAX / 3600;
       },
       "- offer stored"},
      {"shown before all years",
       {},
       [](Context& c, Applicability&) { c.lastNewsDisplayedDate = Date::min(); },
       "ES offer stored"},
      {"shown in the future",
       {},
       [](Context& c, Applicability&) {
         c.lastNewsDisplayedDate = c.now + std::chrono::hours(1);
         c.checkUpdatesAfterHours = 0;
       },
       "- offer stored"},
      {"beyond all dates",
       {},
       [](Context& c, Applicability&) { c.checkUpdatesAfterHours = INT64_MAX / 3600; },
       "- offer stored"},
      {"just beyond all dates",
       {},
       [](Context& c, Applicability&) { c.checkUpdatesAfterHours = 2'562'047'788; },
       "- offer stored"},
      {"reset",
       {},
       [](Context& c, Applicability&) { c.shouldResetStoredFeedIdentifier = true; },
       "- offer none"},
      {"not applicable",
       {},
       [](Context& c, Applicability& a) {
         a.shouldProcessFeed = false;
         c.shouldResetStoredFeedIdentifier = true;
       },
       "- offer stored"},
      {"nothing newer",
       {},
       [](Context& c, Applicability& a) {
         a.isUpdate = false;
         c.isManualCheck = true;
       },
       "- offer stored"},
      {"no identifier",
       {},
       [](Context& c, Applicability& a) {
         a.resolvedFeedIdentifier.reset();
         c.isManualCheck = true;
         c.shouldResetStoredFeedIdentifier = true;
       },
       "- none stored"},
      // each entry once
      {"once, another shown",
       {},
       [](Context& c, Applicability&) { c.canProcessUpdateFeeds = false; },
       "ES offer stored"},
      {"once, this one shown",
       {},
       [](Context& c, Applicability&) {
         c.canProcessUpdateFeeds = false;
         c.storedFeedIdentifier = "offer";
       },
       "E offer offer"},
      {"once, in another case",
       {},
       [](Context& c, Applicability&) {
         c.canProcessUpdateFeeds = false;
         c.storedFeedIdentifier = "Offer";
       },
       "ES offer Offer"},
      {"once, reset",
       {},
       [](Context& c, Applicability&) {
         c.canProcessUpdateFeeds = false;
         c.storedFeedIdentifier = "offer";
         c.shouldResetStoredFeedIdentifier = true;
       },
       "ES offer none"},
  };
  for (const auto& row : rows) {
    Context context = baseContext();
    Applicability applicability{true, true, false, false, distantPast, "offer"};
    row.adjust(context, applicability);
    EXPECT_EQ(shown(evaluate(row.entry, applicability, context)), row.expected) << row.name;
  }
}

TEST(FeedDisplayDeathTest, AnIntervalThatOverflowsEndsTheProgram) {
  Context context = baseContext();
  context.checkUpdatesAfterHours = INT64_MAX / 3600 + 1;
  const Applicability applicability{true, true, false, false, distantPast, "offer"};
  EXPECT_DEATH((void)evaluate({}, applicability, context), "Fatal error: checkUpdatesAfterHours overflows");
}

}  // namespace
}  // namespace pellam

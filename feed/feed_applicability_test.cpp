#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <thread>

#include "feed/feed_eligibility.h"
#include "foundation/date_text.h"

namespace pellam {
namespace {

using Context = OrvoUpdateFeedApplicabilityContext;
using Entries = std::initializer_list<PropertyListDictionary::Entry>;

Context baseContext() {
  Context context;
  context.appVersion = "2.0";
  context.appBuild = 100;
  context.currentOSVersion = "14.5";
  context.preferredLanguageCode = "en";
  context.acceptedSKUs = {"pro", "home"};
  context.canProcessUpdateFeeds = true;
  context.now = *parseISO8601("2024-05-10T12:00:00Z");
  return context;
}

FeedEntry entryWith(Entries changes) {
  FeedEntry entry{{"type", "update"}, {"current", "2.1"}, {"id", "offer"}};
  for (const auto& [key, value] : changes) entry.set(key, value);
  return entry;
}

// As a user in that zone is served. A thread of its own looks the zone up at once.
OrvoUpdateFeedApplicabilityResult evaluate(const FeedEntry& entry, const Context& context,
                                           const char* zone = "UTC") {
  ::setenv("TZ", zone, 1);
  OrvoUpdateFeedApplicabilityResult result;
  std::thread([&] {
    result = OrvoUpdateFeedEligibilityEvaluator().evaluateApplicability(entry, context,
                                                                        OrvoUpdateVersionComparison::compare);
  }).join();
  return result;
}

// "P" process, "U" update, "N" new build, "B" beta, "-" nothing.
std::string flags(const OrvoUpdateFeedApplicabilityResult& result) {
  std::string text;
  if (result.shouldProcessFeed) text += 'P';
  if (result.isUpdate) text += 'U';
  if (result.isNewBuild) text += 'N';
  if (result.isBetaUpdate) text += 'B';
  return text.empty() ? "-" : text;
}

void nothing(Context&) {}

TEST(FeedApplicabilityTest, DecidesByEntryAndContext) {
  const struct {
    const char* name;
    Entries changes;
    void (*adjust)(Context&);
    const char* expected;
  } rows[] = {
      {"newer", {}, nothing, "PU"},
      {"other type", {{"type", "Update"}}, nothing, "-"},
      {"type of another kind", {{"type", true}}, nothing, "-"},
      {"switched off", {}, [](Context& c) { c.canProcessUpdateFeeds = false; }, "-"},
      // range of installed versions
      {"range holds", {{"version", "2.0-3.0"}}, nothing, "PU"},
      {"at the highest", {{"version", "1.0-2.0"}}, nothing, "PU"},
      {"at the highest, written longer", {{"version", "1.0-2.0.0"}}, nothing, "PU"},
      {"below the lowest", {{"version", "2.0.1-3.0"}}, nothing, "-"},
      {"above the highest", {{"version", "1.0-1.9"}}, nothing, "-"},
      {"only a lowest", {{"version", "1.5"}}, nothing, "PU"},
      {"only a lowest, too high", {{"version", "2.0.1"}}, nothing, "-"},
      {"middle pieces are no lowest", {{"version", "1.0-9.0-3.0"}}, nothing, "PU"},
      {"middle pieces are no highest", {{"version", "1.0-1.5-3.0"}}, nothing, "PU"},
      {"middle pieces are not part of the lowest", {{"version", "2.0-1.0-3.0"}}, nothing, "PU"},
      {"middle pieces are not part of the highest", {{"version", "1.0-9.0-1.5"}}, nothing, "-"},
      {"empty highest", {{"version", "1.0-"}}, nothing, "-"},
      {"empty lowest", {{"version", "-3.0"}}, nothing, "PU"},
      {"empty range counts as absent", {{"version", ""}}, [](Context& c) { c.appVersion = "b1"; }, "PU"},
      {"range of another kind counts as absent", {{"version", 9}}, nothing, "PU"},
      // edition and language
      {"edition", {{"sku", "pro"}}, nothing, "PU"},
      {"edition in another case", {{"sku", "Pro"}}, nothing, "-"},
      {"empty edition counts as absent", {{"sku", ""}}, nothing, "PU"},
      {"no edition accepted", {{"sku", "pro"}}, [](Context& c) { c.acceptedSKUs.clear(); }, "-"},
      {"language in another case", {{"lang", "EN"}}, nothing, "PU"},
      {"other language", {{"lang", "en-GB"}}, nothing, "-"},
      {"no preferred language", {{"lang", "en"}}, [](Context& c) { c.preferredLanguageCode.reset(); }, "-"},
      {"empty language matches all",
       {{"lang", ""}},
       [](Context& c) { c.preferredLanguageCode.reset(); },
       "PU"},
      // operating system
      {"system in range", {{"os", "13.5-14.5"}}, nothing, "PU"},
      {"system too old", {{"os", "14.6"}}, nothing, "-"},
      {"empty system counts as absent", {{"os", ""}}, [](Context& c) { c.currentOSVersion = "b1"; }, "PU"},
      {"system too new", {{"os", "10-14.4"}}, nothing, "-"},
      // offered version and build
      {"same version", {{"current", "2.0"}}, nothing, "-"},
      {"older version", {{"current", "1.9"}}, nothing, "-"},
      {"no offered version", {{"current", ""}}, nothing, "PU"},
      {"newer build", {{"current", "2.0"}, {"currentbuild", "101"}}, nothing, "PUN"},
      {"newer build of the first build",
       {{"current", "2.0"}, {"currentbuild", "2"}},
       [](Context& c) { c.appBuild = 1; },
       "PUN"},
      {"newer build with a sign", {{"current", "2.0"}, {"currentbuild", "+101"}}, nothing, "PUN"},
      {"same build", {{"current", "2.0"}, {"currentbuild", "100"}}, nothing, "-"},
      {"build with a letter", {{"current", "2.0"}, {"currentbuild", "101a"}}, nothing, "-"},
      {"build of another kind", {{"current", "2.0"}, {"currentbuild", 101}}, nothing, "-"},
      {"equal only by comparison", {{"current", "2.0.0"}, {"currentbuild", "101"}}, nothing, "-"},
      {"no running build",
       {{"current", "2.0"}, {"currentbuild", "101"}},
       [](Context& c) { c.appBuild = 0; },
       "-"},
      {"negative builds",
       {{"current", "2.0"}, {"currentbuild", "-3"}},
       [](Context& c) { c.appBuild = -5; },
       "-"},
      {"newer build of a beta",
       {{"current", "2.0b1"}, {"currentbuild", "101"}},
       [](Context& c) {
         c.appVersion = "2.0b1";
         c.isManualCheck = true;
       },
       "PUB"},
      // betas
      {"beta, not wanted", {{"current", "3.0b1"}}, nothing, "B"},
      {"beta, wanted",
       {{"current", "3.0b1"}},
       [](Context& c) { c.checkForBetaReleasesEnabled = true; },
       "PUB"},
      {"beta, asked for", {{"current", "2.5 beta 3"}}, [](Context& c) { c.isManualCheck = true; }, "PUB"},
      {"beta by a capital letter", {{"current", "3.0RC1"}}, nothing, "B"},
      {"beta by a letter of another script", {{"current", "3.0β1"}}, nothing, "B"},
      {"digits of another script", {{"current", "3.٤"}}, nothing, "PU"},
      {"newer build of a beta with a capital letter",
       {{"current", "2.0RC1"}, {"currentbuild", "101"}},
       [](Context& c) {
         c.appVersion = "2.0RC1";
         c.isManualCheck = true;
       },
       "PUB"},
      {"old beta", {{"current", "2.0b1"}}, nothing, "-"},
      // bypass
      {"bypass",
       {{"version", "9"}, {"os", "99"}, {"sku", "x"}, {"lang", "x"}, {"current", "1.0"}},
       [](Context& c) { c.debugBypassApplicabilityChecks = true; },
       "PU"},
      {"bypass does not reach the type",
       {{"type", "news"}},
       [](Context& c) { c.debugBypassApplicabilityChecks = true; },
       "-"},
  };
  for (const auto& row : rows) {
    Context context = baseContext();
    row.adjust(context);
    const OrvoUpdateFeedApplicabilityResult result = evaluate(entryWith(row.changes), context);
    EXPECT_EQ(flags(result), row.expected) << row.name;
    EXPECT_EQ(result.resolvedFeedIdentifier, "offer") << row.name;
  }
}

TEST(FeedApplicabilityTest, StaggeringHoldsEntriesBack) {
  const struct {
    const char* name;
    const char* now;
    Entries changes;
    void (*adjust)(Context&);
    const char* expected;
  } rows[] = {
      {"too early", "2024-05-12T23:59:59Z", {}, nothing, "-"},
      {"on the day", "2024-05-13T00:00:00Z", {}, nothing, "PU"},
      {"asked for", "2024-05-10T00:00:00Z", {}, [](Context& c) { c.isManualCheck = true; }, "PU"},
      {"important", "2024-05-10T00:00:00Z", {{"important", "1"}}, nothing, "PU"},
      {"important as a word", "2024-05-10T00:00:00Z", {{"important", "true"}}, nothing, "-"},
      {"important as a boolean", "2024-05-10T00:00:00Z", {{"important", true}}, nothing, "-"},
      {"first group, too early", "2024-05-10T23:59:59Z", {}, [](Context& c) { c.userStaggerGroup = 1; }, "-"},
      {"no group", "2024-05-01T00:00:00Z", {}, [](Context& c) { c.userStaggerGroup = 0; }, "PU"},
      {"negative group", "2024-05-01T00:00:00Z", {}, [](Context& c) { c.userStaggerGroup = -3; }, "PU"},
      {"not staggered",
       "2024-05-10T00:00:00Z",
       {},
       [](Context& c) { c.shouldApplyUserStaggering = false; },
       "PU"},
      {"bypass does not help",
       "2024-05-10T00:00:00Z",
       {},
       [](Context& c) { c.debugBypassApplicabilityChecks = true; },
       "-"},
      {"no release day", "2024-05-10T00:00:00Z", {{"releasedate", "2024-13-45"}}, nothing, "PU"},
      {"a date that cannot be formed",
       "2024-05-10T00:00:00Z",
       {},
       [](Context& c) { c.userStaggerGroup = INT64_MAX; },
       "PU"},
  };
  for (const auto& row : rows) {
    Context context = baseContext();
    context.now = *parseISO8601(row.now);
    context.shouldApplyUserStaggering = true;
    context.userStaggerGroup = 3;
    row.adjust(context);
    FeedEntry entry = entryWith({{"releasedate", "2024-05-10"}});
    for (const auto& [key, value] : row.changes) entry.set(key, value);
    EXPECT_EQ(flags(evaluate(entry, context)), row.expected) << row.name;
  }
}

TEST(FeedApplicabilityTest, StaggeringCountsCalendarDays) {
  // The clock goes forward on 31 March: three days later is 71 hours later.
  Context context = baseContext();
  context.shouldApplyUserStaggering = true;
  context.userStaggerGroup = 3;
  const FeedEntry entry = entryWith({{"releasedate", "2024-03-30"}});
  context.now = *parseISO8601("2024-04-01T21:59:59Z");
  EXPECT_FALSE(evaluate(entry, context, "Europe/Berlin").shouldProcessFeed);
  context.now = *parseISO8601("2024-04-01T22:00:00Z");
  const OrvoUpdateFeedApplicabilityResult due = evaluate(entry, context, "Europe/Berlin");
  EXPECT_TRUE(due.shouldProcessFeed);
  EXPECT_EQ(due.releaseDate, *parseISO8601("2024-03-29T23:00:00Z"));
}

TEST(FeedApplicabilityTest, ReleaseDayAndIdentifierAreReportedOnEveryPath) {
  Context context = baseContext();
  context.canProcessUpdateFeeds = false;
  const OrvoUpdateFeedApplicabilityResult withVersion =
      evaluate({{"version", "1.0"}, {"id", ""}, {"releasedate", "2024-05-10"}}, context);
  EXPECT_EQ(withVersion.resolvedFeedIdentifier, "1.0");
  EXPECT_EQ(withVersion.releaseDate, *parseISO8601("2024-05-10T00:00:00Z"));
  const OrvoUpdateFeedApplicabilityResult bare =
      evaluate({{"id", 5}, {"releasedate", "12/01/2024"}}, context);
  EXPECT_EQ(bare.resolvedFeedIdentifier, std::nullopt);
  EXPECT_EQ(bare.releaseDate, distantPast);
  EXPECT_EQ(evaluate({{"id", ""}, {"version", ""}}, context).resolvedFeedIdentifier, std::nullopt);
}

// What a host leaves out lets nothing through.
TEST(FeedApplicabilityTest, AnEmptyContextIsNoInstallation) {
  Context context;
  EXPECT_EQ(flags(evaluate(entryWith({}), context)), "-");
  context.canProcessUpdateFeeds = true;
  context.now = *parseISO8601("2024-05-10T12:00:00Z");
  EXPECT_EQ(flags(evaluate(entryWith({{"releasedate", "2024-05-10"}}), context)), "PU") << "no staggering";
  context.shouldApplyUserStaggering = true;
  EXPECT_EQ(flags(evaluate(entryWith({{"releasedate", "2024-05-10"}}), context)), "PU") << "no group";
  EXPECT_EQ(flags(evaluate(entryWith({{"current", "3.0b1"}}), context)), "B") << "no betas, nobody asked";
  context.appVersion = "2.1";
  EXPECT_EQ(flags(evaluate(entryWith({{"currentbuild", "2"}}), context)), "-") << "no running build";
  OrvoUpdateFeedDisplayContext display;
  display.now = display.lastNewsDisplayedDate.emplace();
  const OrvoUpdateFeedApplicabilityResult offered{true, true, false, false, distantPast, "offer"};
  const auto isShown = [&] {
    return OrvoUpdateFeedEligibilityEvaluator()
        .evaluateDisplay({}, offered, display, OrvoUpdateVersionComparison::compare)
        .shouldDisplayNow;
  };
  display.storedFeedIdentifier = "offer";
  EXPECT_FALSE(isShown()) << "each entry once";
  display.canProcessUpdateFeeds = true;
  EXPECT_TRUE(isShown()) << "no reminder interval";
}

TEST(FeedApplicabilityTest, TheComparatorIsTheCallersOwn) {
  const auto backwards = [](std::string_view first, std::string_view second) {
    return OrvoUpdateVersionComparison::compare(second, first);
  };
  const OrvoUpdateFeedEligibilityEvaluator evaluator;
  EXPECT_FALSE(evaluator.evaluateApplicability(entryWith({}), baseContext(), backwards).shouldProcessFeed);
  EXPECT_TRUE(evaluator.evaluateApplicability(entryWith({{"current", "1.0"}}), baseContext(), backwards)
                  .shouldProcessFeed);
}

}  // namespace
}  // namespace pellam

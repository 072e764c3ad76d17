#include "feed/feed_pipeline.h"

#include <gtest/gtest.h>

#include "foundation/date_text.h"

namespace pellam {
namespace {

struct Contexts {
  OrvoUpdateFeedApplicabilityContext applicability;
  OrvoUpdateFeedDisplayContext display;
};

Contexts baseContexts() {
  Contexts contexts;
  contexts.applicability.appVersion = contexts.display.appVersion = "2.0";
  contexts.applicability.canProcessUpdateFeeds = contexts.display.canProcessUpdateFeeds = true;
  contexts.applicability.now = contexts.display.now = *parseISO8601("2024-05-10T12:00:00Z");
  return contexts;
}

FeedEntry offer(const char* identifier, const char* version = "3.0") {
  return {{"type", "update"}, {"current", version}, {"id", identifier}};
}

std::string selected(const std::vector<FeedEntry>& feed, const Contexts& contexts) {
  const OrvoUpdateFeedPipelineResult result = OrvoUpdateFeedPipelineEvaluator().evaluate(
      feed, contexts.applicability, contexts.display, OrvoUpdateVersionComparison::compare);
  if (!result.selectedCandidate) return "none";
  EXPECT_EQ(result.selectedCandidate->display.resolvedFeedIdentifier,
            result.selectedCandidate->applicability.resolvedFeedIdentifier);
  return *result.selectedCandidate->feed.findString("id");
}

TEST(FeedPipelineTest, SelectsTheFirstThatQualifies) {
  EXPECT_EQ(selected({}, baseContexts()), "none");
  EXPECT_EQ(selected({{{"type", "news"}, {"id", "a"}}, {{"id", "b"}}, offer("c")}, baseContexts()), "c");
  EXPECT_EQ(selected({offer("a", "2.1"), offer("b", "9.0")}, baseContexts()), "a");
  EXPECT_EQ(selected({offer("a", "1.0"), offer("b")}, baseContexts()), "b");
  EXPECT_EQ(selected({{{"type", "update"}, {"current", "3.0"}}}, baseContexts()), "none");  // no identifier

  Contexts waiting = baseContexts();
  waiting.display.lastNewsDisplayedDate = waiting.display.now - std::chrono::hours(1);
  waiting.display.checkUpdatesAfterHours = 24;
  FeedEntry forced = offer("forced");
  forced.set("mustupdate", "2.0.0");
  EXPECT_EQ(selected({offer("a"), forced, offer("b")}, waiting), "forced");
  EXPECT_EQ(selected({offer("a")}, waiting), "none");

  // An entry that is not to be shown is selected all the same.
  Contexts once = baseContexts();
  once.display.canProcessUpdateFeeds = false;
  once.display.storedFeedIdentifier = "a";
  EXPECT_EQ(selected({offer("a"), offer("b")}, once), "a");
}

TEST(FeedPipelineTest, LaterEntriesAreNotEvaluated) {
  int comparisons = 0;
  const auto counting = [&](std::string_view first, std::string_view second) {
    ++comparisons;
    return OrvoUpdateVersionComparison::compare(first, second);
  };
  const Contexts contexts = baseContexts();
  (void)OrvoUpdateFeedPipelineEvaluator().evaluate({offer("a"), offer("b")}, contexts.applicability,
                                                   contexts.display, counting);
  EXPECT_EQ(comparisons, 1);
}

OrvoUpdateFeedPipelineApplicationInput inputFor(PropertyListValue interval = "3600") {
  OrvoUpdateFeedPipelineApplicationInput input;
  FeedEntry entry = offer("new");
  entry.set("interval", std::move(interval));
  input.pipelineResult.selectedCandidate = {
      entry, {true, true, false, false, distantPast, "new"}, {true, true, "new", "old"}};
  input.canProcessUpdateFeeds = true;
  input.shouldConfirmNoUpdatesDialog = true;
  input.shouldSetSleepInterval = true;
  input.existingNewsDictionary = {{"main", "old"}, {"other", 5}};
  input.feedTypeKey = "main";
  input.defaultRefetchIntervalSeconds = 86'400;
  input.minimumRefetchIntervalSeconds = 600;
  return input;
}

struct Application {
  OrvoUpdateFeedPipelineApplicationResult result;
  std::vector<FeedEntry> presented;
};

Application apply(const OrvoUpdateFeedPipelineApplicationInput& input, bool isPresented = true) {
  Application application;
  application.result = OrvoUpdateFeedPipelineApplier().apply(input, [&](const FeedEntry& feed) {
    application.presented.push_back(feed);
    return isPresented;
  });
  return application;
}

TEST(FeedPipelineTest, AppliesWhatWasShown) {
  const OrvoUpdateFeedPipelineApplicationInput input = inputFor();
  const Application application = apply(input);
  EXPECT_EQ(application.result,
            (OrvoUpdateFeedPipelineApplicationResult{
                true, true, true, PropertyListDictionary{{"main", "new"}, {"other", 5}}, 3600.0}));
  EXPECT_EQ(application.presented, std::vector<FeedEntry>{input.pipelineResult.selectedCandidate->feed});

  OrvoUpdateFeedPipelineApplicationInput once = inputFor();
  once.canProcessUpdateFeeds = false;
  once.feedTypeKey = "first";
  EXPECT_EQ(apply(once).result,
            (OrvoUpdateFeedPipelineApplicationResult{
                true, false, false, PropertyListDictionary{{"first", "new"}, {"main", "old"}, {"other", 5}},
                3600.0}));
}

TEST(FeedPipelineTest, StoresNothingThatWasNotShown) {
  const OrvoUpdateFeedPipelineApplicationResult processed{true, true, false, std::nullopt, 3600.0};
  EXPECT_EQ(apply(inputFor(), false).result, processed);

  OrvoUpdateFeedPipelineApplicationInput notDue = inputFor();
  notDue.pipelineResult.selectedCandidate->display.shouldDisplayNow = false;
  const Application application = apply(notDue);
  EXPECT_EQ(application.result, processed);
  EXPECT_TRUE(application.presented.empty());

  notDue.shouldSetSleepInterval = false;
  EXPECT_EQ(apply(notDue).result.resolvedSleepInterval, std::nullopt);
}

TEST(FeedPipelineTest, WithoutACandidateOnlyTheCheckIsMarked) {
  OrvoUpdateFeedPipelineApplicationInput input = inputFor();
  input.pipelineResult.selectedCandidate->display.resolvedFeedIdentifier.reset();
  const OrvoUpdateFeedPipelineApplicationResult marked{false, true, false, std::nullopt, std::nullopt};
  EXPECT_EQ(apply(input).result, marked);
  EXPECT_TRUE(apply(input).presented.empty());
  input.pipelineResult = {};
  EXPECT_EQ(apply(input).result, marked);
  input.shouldConfirmNoUpdatesDialog = false;
  EXPECT_EQ(apply(input).result, OrvoUpdateFeedPipelineApplicationResult());
  input.shouldConfirmNoUpdatesDialog = true;
  input.canProcessUpdateFeeds = false;
  EXPECT_EQ(apply(input).result, OrvoUpdateFeedPipelineApplicationResult());
}

TEST(FeedPipelineTest, AHostThatAsksForNothingGetsNothing) {
  OrvoUpdateFeedPipelineApplicationInput input;
  input.pipelineResult = inputFor().pipelineResult;
  input.pipelineResult.selectedCandidate->feed.erase("interval");
  EXPECT_EQ(apply(input, false).result,
            (OrvoUpdateFeedPipelineApplicationResult{true, false, false, std::nullopt, std::nullopt}));
  input.shouldSetSleepInterval = input.canProcessUpdateFeeds = true;
  EXPECT_EQ(apply(input, false).result,
            (OrvoUpdateFeedPipelineApplicationResult{true, false, false, std::nullopt, 0.0}));
  input.canProcessUpdateFeeds = false;
  input.shouldConfirmNoUpdatesDialog = true;
  EXPECT_FALSE(apply(input, false).result.shouldMarkUpdateCheckPerformedOK);
}

TEST(FeedPipelineTest, ResolvesTheIntervalOfEveryType) {
  const struct {
    PropertyListValue interval;
    std::int64_t minimum;
    std::int64_t standard;
    double expected;
  } rows[] = {
      {"3600", 7200, 86'400, 7200},
      {3600, 7200, 86'400, 7200},
      {3600.9, 600, 86'400, 3600},
      {std::uint32_t{3600}, 600, 86'400, 3600},
      {std::uint64_t{3600}, 600, 86'400, 3600},
      {true, 0, 86'400, 1},
      {false, 0, 86'400, 86'400},
      {0, 600, 86'400, 86'400},
      {0.9, 600, 86'400, 86'400},
      {"0", 600, 86'400, 86'400},
      {"+7", 5, 86'400, 7},
      {"-7", -10, 86'400, -7},
      {-7, 0, 86'400, 0},
      {"3600s", 600, 86'400, 86'400},
      {"", 600, 86'400, 86'400},
      {"99999999999999999999", 600, 86'400, 86'400},
      {PropertyListArray{3600}, 600, 86'400, 86'400},
      {Date(), 600, 86'400, 86'400},
      {"x", 600, -5, 0},
  };
  for (const auto& row : rows) {
    OrvoUpdateFeedPipelineApplicationInput input = inputFor(row.interval);
    input.minimumRefetchIntervalSeconds = row.minimum;
    input.defaultRefetchIntervalSeconds = row.standard;
    EXPECT_EQ(apply(input).result.resolvedSleepInterval, row.expected) << row.interval.description();
  }
}

}  // namespace
}  // namespace pellam

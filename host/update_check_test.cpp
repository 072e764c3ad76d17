#include "host/update_check.h"

#include <gtest/gtest.h>

#include "foundation/date_text.h"
#include "tests/support/fake_clock.h"
#include "tests/support/updater_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;
using namespace std::chrono_literals;

class UpdateCheckTest : public testing::Test {
 protected:
  UpdateCheckTest() {
    clock_->date = *parseISO8601("2024-05-10T12:00:00Z");
    application_.identity = {"Editor", "com.example.editor", "2.0", "100"};
    application_.build = 100;
    options_.reason = CheckReason::automatic;
    options_.currentOSVersion = "14.5";
    options_.preferredLanguageCode = "en";
    options_.acceptedSKUs = {"pro"};
  }

  static FeedEntry entry(const FeedEntry& changes = {}) {
    FeedEntry entry = {{"type", "update"}, {"current", "2.1"}, {"id", "offer"}};
    for (const auto& [key, value] : changes) entry.set(key, value);
    return entry;
  }
  UpdateSettings settings() { return UpdateSettings(store_); }
  UpdateCheck check() { return {feed_, std::make_shared<UpdateSettings>(store_), clock_}; }
  UpdateCheckResult decide(const FeedEntry& offered) {
    shown_.reset();
    return check().decide({offered}, application_, options_, [this](const UpdateOffer& offer) {
      shown_ = offer;
      return isShown_;
    });
  }

  std::shared_ptr<FixedClock> clock_ = std::make_shared<FixedClock>();
  std::shared_ptr<MemorySettings> store_ = std::make_shared<MemorySettings>();
  std::shared_ptr<ScriptedFeed> feed_ = std::make_shared<ScriptedFeed>();
  InstalledApplication application_;
  UpdateCheckOptions options_;
  bool isShown_ = true;
  std::optional<UpdateOffer> shown_;
};

// What the host asks and what is remembered reach the decision.
TEST_F(UpdateCheckTest, DecidesByWhatIsAskedAndRemembered) {
  using Prepare = std::function<void(UpdateCheckOptions&, UpdateSettings&)>;
  const auto nothing = [](UpdateCheckOptions&, UpdateSettings&) {};
  const auto shown = [this](std::chrono::seconds before) -> Prepare {
    return [=, this](UpdateCheckOptions&, UpdateSettings& s) {
      s.setLastNewsDisplayedDate(clock_->date - before);
    };
  };
  const auto remindedAfter = [this](std::int64_t hours, std::chrono::seconds before) -> Prepare {
    return [=, this](UpdateCheckOptions&, UpdateSettings& s) {
      s.setLastNewsDisplayedDate(clock_->date - before);
      store_->set(hours, "PellamUpdateReminderHours");
    };
  };
  const struct {
    const char* name;
    FeedEntry entry;
    Prepare prepare;
    std::optional<OrvoUpdateFeedObstacle> obstacle;
  } rows[] = {
      {"nothing remembered", entry(), nothing, {}},
      {"the running version", entry({{"current", "2.0"}}), nothing, OrvoUpdateFeedObstacle::notNewer},
      {"a newer build", entry({{"current", "2.0"}, {"currentbuild", "101"}}), nothing, {}},
      {"the system's version", entry({{"os", "14.5-14.5"}}), nothing, {}},
      {"the language", entry({{"lang", "en"}}), nothing, {}},
      {"the edition", entry({{"sku", "pro"}}), nothing, {}},
      {"shown this moment", entry(), shown(0s), OrvoUpdateFeedObstacle::shownBefore},
      {"shown nearly a day ago", entry(), shown(24h - 1s), OrvoUpdateFeedObstacle::shownBefore},
      {"shown a day ago", entry(), shown(24h), {}},
      {"shown in the future, by a clock that was ahead", entry(), shown(-1s), {}},
      {"must update", entry({{"mustupdate", "2.0"}}), shown(0s), {}},
      {"two hours chosen", entry(), remindedAfter(2, 1h), OrvoUpdateFeedObstacle::shownBefore},
      {"two hours over", entry(), remindedAfter(2, 2h), {}},
      {"more hours than can be counted", entry(), remindedAfter(INT64_MAX, 24h),
       OrvoUpdateFeedObstacle::shownBefore},
      {"asked for, shown this moment",
       entry(),
       [&](UpdateCheckOptions& o, UpdateSettings& s) {
         shown(0s)(o, s);
         o.reason = CheckReason::manual;
       },
       {}},
      {"a beta", entry({{"current", "2.1b1"}}), nothing, OrvoUpdateFeedObstacle::betaNotWanted},
      {"a beta, wanted by the host",
       entry({{"current", "2.1b1"}}),
       [](UpdateCheckOptions& o, UpdateSettings&) { o.checkForBetaReleases = true; },
       {}},
      {"a beta, wanted by the user",
       entry({{"current", "2.1b1"}}),
       [](UpdateCheckOptions&, UpdateSettings& s) { s.setCheckForBetaReleases(true); },
       {}},
      {"a beta, asked for",
       entry({{"current", "2.1b1"}}),
       [](UpdateCheckOptions& o, UpdateSettings&) { o.reason = CheckReason::manual; },
       {}},
      {"released today, no group drawn", entry({{"releasedate", "2024-05-10"}}), nothing, {}},
      {"released today, the group is later", entry({{"releasedate", "2024-05-10"}}),
       [](UpdateCheckOptions&, UpdateSettings& s) { s.setStaggerGroup(3); },
       OrvoUpdateFeedObstacle::stagedRollOut},
      {"released today, another group asked for",
       entry({{"releasedate", "2024-05-10"}}),
       [](UpdateCheckOptions& o, UpdateSettings& s) {
         s.setStaggerGroup(3);
         o.staggerGroup = 0;
       },
       {}},
  };
  const UpdateCheckOptions options = options_;
  for (const auto& row : rows) {
    store_ = std::make_shared<MemorySettings>();
    options_ = options;
    UpdateSettings remembered = settings();
    row.prepare(options_, remembered);
    const auto obstacles = check().obstacles({entry({{"type", "news"}}), row.entry, row.entry}, application_,
                                             options_, row.obstacle ? 1 : 2);
    EXPECT_EQ(obstacles.size(), row.obstacle ? 1U : 0U) << row.name;
    if (!obstacles.empty()) {
      EXPECT_EQ(obstacles.front().reason, row.obstacle) << row.name;
    }
    decide(row.entry);
    EXPECT_EQ(shown_.has_value(), !row.obstacle) << row.name;
  }
  store_->set(-1, "PellamUpdateReminderHours");
  EXPECT_EQ(settings().checkUpdatesAfterHours(), 0);
}

TEST_F(UpdateCheckTest, RemembersWhatWasShownAndWhenToAskAgain) {
  const struct {
    FeedEntry changes;
    std::chrono::seconds pause;
  } rows[] = {
      {{}, 24h},
      {{{"interval", "7200"}}, 2h},
      {{{"interval", "3599"}}, 1h},
      {{{"interval", "2592000"}}, 24h * 30},
      {{{"interval", "2592001"}}, 24h * 30},
  };
  for (const auto& row : rows) {
    store_ = std::make_shared<MemorySettings>();
    store_->set(PropertyListDictionary{{"update", "old"}, {"other", 5}}, "PellamUpdateNews");
    EXPECT_EQ(settings().storedFeedIdentifier(), "old");
    const UpdateDecision decision = decide(entry(row.changes)).decision();
    EXPECT_EQ(settings().nextFetchDate(), clock_->date + row.pause);
    EXPECT_EQ(settings().lastNewsDisplayedDate(), clock_->date);
    EXPECT_EQ(settings().newsDictionary(), (PropertyListDictionary{{"update", "offer"}, {"other", 5}}));
    EXPECT_TRUE(decision.wasShown && decision.secondsToNextCheck && decision.offer == shown_);
  }
  store_ = std::make_shared<MemorySettings>();
  isShown_ = false;
  EXPECT_FALSE(decide(entry()).decision().wasShown);
  EXPECT_EQ(settings().lastNewsDisplayedDate(), std::nullopt);
  EXPECT_EQ(settings().newsDictionary(), PropertyListDictionary());
  EXPECT_EQ(settings().nextFetchDate(), clock_->date + 24h) << "it is asked again all the same";

  store_ = std::make_shared<MemorySettings>();
  isShown_ = true;
  options_.remembersWhatIsShown = false;
  EXPECT_TRUE(decide(entry()).decision().wasShown);
  EXPECT_EQ(settings().nextFetchDate(), std::nullopt);
  EXPECT_EQ(settings().lastNewsDisplayedDate(), std::nullopt);
}

TEST_F(UpdateCheckTest, TheOfferSaysWhatTheEntryStates) {
  options_.checkForBetaReleases = true;
  const FeedEntry stated = entry({{"current", "2.1b1"},
                                  {"currentbuild", "7"},
                                  {"title", "Editor 2.1"},
                                  {"url", "https://a/notes"},
                                  {"installer", "https://a/Editor.pkg"}});
  decide(stated);
  EXPECT_EQ(shown_, (UpdateOffer{stated, OfferKind::separateInstaller, "offer", "2.1b1", "7", "Editor 2.1",
                                 "https://a/notes", false, true, true}));
  const FeedEntry bare = {{"type", "update"}, {"version", "1"}, {"current", "2.0"}, {"currentbuild", "101"}};
  decide(bare);
  EXPECT_EQ(shown_, (UpdateOffer{bare, OfferKind::none, "1", "2.0", "101", "", "", true, false, true}));
  EXPECT_EQ(decide(entry({{"current", "1.0"}})).decision(), UpdateDecision());
}

TEST_F(UpdateCheckTest, FetchesAFreshFeedOfBoundedLength) {
  const URL address = *URL::parse("https://a/feed.plist");
  feed_->serve({entry()});
  EXPECT_EQ(check().fetch(address, {}), std::vector<FeedEntry>{entry()});
  EXPECT_EQ(feed_->lastRequest().url, address);
  EXPECT_EQ(feed_->lastRequest().headers, (decltype(URLRequest::headers){{"Cache-Control", "no-cache"}}));
  EXPECT_EQ(feed_->lastRequest().maximumBodyLength, 67'108'864U);
  for (const int status : {199, 200, 299, 300}) {
    feed_->serveText("[]", status);
    try {
      (void)check().fetch(address, {});
      ADD_FAILURE() << "[] is no feed";
    } catch (const FeedNotServed&) {
      EXPECT_TRUE(status == 199 || status == 300);
    } catch (const OrvoUpdateFeedParserError&) {
      EXPECT_TRUE(status == 200 || status == 299);
    }
  }
  feed_->fail(URLLoadingError::Code::timedOut);
  EXPECT_THROW((void)check().fetch(address, {}), URLLoadingError);
  feed_->fail(URLLoadingError::Code::cancelled);
  EXPECT_THROW((void)check().fetch(address, {}), OperationCancelled);
}

}  // namespace
}  // namespace pellam

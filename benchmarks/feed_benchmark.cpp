// Deciding about realistic feed entries: both decisions, with staggering, on one core.

#include "benchmarks/measure.h"
#include "feed/feed_parser.h"
#include "feed/feed_pipeline.h"
#include "foundation/date_text.h"
#include "platform/property_list.h"

int main() {
  using namespace pellam;
  std::vector<FeedEntry> written;
  for (int index = 0; index < 1000; ++index) {
    const std::string suffix = std::to_string(index);
    written.push_back(
        {{"type", "update"},
         {"version", "1.0-" + std::to_string(3 + index % 3) + ".9.9"},
         {"sku", "pro"},
         {"lang", "en"},
         {"os", "13.5-26.9"},
         {"current", "2.4." + std::to_string(index % 20)},
         {"currentbuild", "12" + suffix},
         {"releasedate", "2026-0" + std::to_string(1 + index % 9) + "-1" + std::to_string(index % 10)},
         {"id", "com.example.editor.update." + suffix},
         {"interval", "86400"},
         {"url", "https://example.com/notes/" + suffix},
         {"title", "Editor"},
         {"important", "0"},
         {"mustupdate", "2.0.1"},
         {"app-installer", "https://example.com/editor-" + suffix + ".zip"}});
  }
  // As a host gets it: read from a document.
  const std::string document = writeXMLPropertyList(PropertyListArray(written.begin(), written.end()));
  const std::vector<FeedEntry> feed = OrvoUpdateFeedParser().parseFeed(
      std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(document.data()), document.size()));
  OrvoUpdateFeedApplicabilityContext applicability;
  applicability.appVersion = "2.3.1";
  applicability.appBuild = 100;
  applicability.currentOSVersion = "14.5";
  applicability.preferredLanguageCode = "en";
  applicability.acceptedSKUs = {"home", "pro"};
  applicability.canProcessUpdateFeeds = true;
  applicability.shouldApplyUserStaggering = true;
  applicability.userStaggerGroup = 3;
  applicability.now = *parseISO8601("2026-11-22T20:00:00Z");
  OrvoUpdateFeedDisplayContext display;
  display.appVersion = applicability.appVersion;
  display.canProcessUpdateFeeds = true;
  display.now = applicability.now;
  display.lastNewsDisplayedDate = applicability.now - std::chrono::hours(30);
  display.checkUpdatesAfterHours = 24;
  display.storedFeedIdentifier = "com.example.editor.update.old";

  const OrvoUpdateFeedEligibilityEvaluator evaluator;
  const VersionComparing comparator = OrvoUpdateVersionComparison::compare;
  constexpr int rounds = 200;
  std::size_t shown = 0;
  std::vector<double> rates;
  for (int run = 0; run < 9; ++run) {
    const double seconds = benchmark::secondsOf([&] {
      for (int round = 0; round < rounds; ++round) {
        for (const FeedEntry& entry : feed) {
          const auto applies = evaluator.evaluateApplicability(entry, applicability, comparator);
          if (evaluator.evaluateDisplay(entry, applies, display, comparator).shouldDisplayNow) ++shown;
        }
      }
    });
    rates.push_back(rounds * static_cast<double>(feed.size()) / seconds);
  }
  const double rate = benchmark::median(rates);
  benchmark::printRow("feed evaluation, entries/s", rate, std::nullopt, rate / 1e6, 1);
  return shown == 9 * rounds * feed.size() ? 0 : 1;
}

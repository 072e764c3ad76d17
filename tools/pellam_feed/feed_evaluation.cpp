#include "tools/pellam_feed/feed_evaluation.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "feed/offer_kind.h"
#include "foundation/date_text.h"
#include "pellam/feed_keys.h"

namespace pellam::feed_tool {

namespace {

using JSON = nlohmann::ordered_json;

template <typename Value>
JSON orNull(const std::optional<Value>& value) {
  return value ? JSON(*value) : JSON(nullptr);
}

JSON json(const PropertyListValue& value) {
  if (const bool* boolean = value.boolean()) return *boolean;
  if (const double* real = value.real())
    return std::isfinite(*real) ? JSON(*real) : JSON(value.description());
  if (const auto* number = value.unsigned64()) return *number;
  if (const auto number = value.numberAsInteger()) return *number;
  if (const PropertyListArray* array = value.array()) {
    JSON elements = JSON::array();
    for (const PropertyListValue& element : *array) elements.push_back(json(element));
    return elements;
  }
  if (const PropertyListDictionary* dictionary = value.dictionary()) {
    // Every key comes once; the members' own operators would look for it among all before it.
    JSON members = JSON::object();
    auto& list = members.get_ref<JSON::object_t&>();
    for (const auto& [key, member] : *dictionary) list.emplace_back(key, json(member));
    return members;
  }
  return value.description();
}

JSON json(const OrvoUpdateFeedApplicabilityResult& result) {
  return {{"shouldProcessFeed", result.shouldProcessFeed},
          {"isUpdate", result.isUpdate},
          {"isNewBuild", result.isNewBuild},
          {"isBetaUpdate", result.isBetaUpdate},
          {"releaseDate", iso8601Text(result.releaseDate)},
          {"resolvedFeedIdentifier", orNull(result.resolvedFeedIdentifier)}};
}

JSON json(const OrvoUpdateFeedDisplayResult& result) {
  return {{"isEligibleForProcessing", result.isEligibleForProcessing},
          {"shouldDisplayNow", result.shouldDisplayNow},
          {"resolvedFeedIdentifier", orNull(result.resolvedFeedIdentifier)},
          {"effectiveStoredFeedIdentifier", orNull(result.effectiveStoredFeedIdentifier)}};
}

JSON json(const OrvoUpdateFeedPipelineApplicationResult& result) {
  return {
      {"didProcessSelectedUpdate", result.didProcessSelectedUpdate},
      {"shouldMarkUpdateCheckPerformedOK", result.shouldMarkUpdateCheckPerformedOK},
      {"shouldHideNoUpdatesFoundDialog", result.shouldHideNoUpdatesFoundDialog},
      {"updatedNewsDictionary",
       result.updatedNewsDictionary ? json(PropertyListValue(*result.updatedNewsDictionary)) : JSON(nullptr)},
      {"resolvedSleepInterval", orNull(result.resolvedSleepInterval)}};
}

}  // namespace

std::string evaluateFeed(const std::vector<FeedEntry>& feed, EvaluationContext context) {
  const VersionComparing comparator = OrvoUpdateVersionComparison::compare;
  const OrvoUpdateFeedPipelineEvaluator pipeline;
  const OrvoUpdateFeedEligibilityEvaluator& evaluator = pipeline.processingEvaluator.eligibilityEvaluator;

  context.application.pipelineResult =
      pipeline.evaluate(feed, context.applicability, context.display, comparator);

  // The candidate does not say where it stood. The first entry that is selected from a feed of its own is the
  // one; comparing contents would not do, as a number that is none equals nothing.
  JSON entries = JSON::array();
  JSON selectedIndex = nullptr;
  for (std::size_t index = 0; index < feed.size(); ++index) {
    const OrvoUpdateFeedApplicabilityResult applicability =
        evaluator.evaluateApplicability(feed[index], context.applicability, comparator);
    JSON display = nullptr;
    if (selectedIndex.is_null() && isUpdateEntry(feed[index]) && applicability.shouldProcessFeed) {
      const OrvoUpdateFeedDisplayResult result =
          evaluator.evaluateDisplay(feed[index], applicability, context.display, comparator);
      display = json(result);
      if (pipeline.evaluate({feed[index]}, context.applicability, context.display, comparator)
              .selectedCandidate) {
        selectedIndex = index;
      }
    }
    entries.push_back({{"index", index}, {"applicability", json(applicability)}, {"display", display}});
  }

  int displayCallbackCalls = 0;
  const OrvoUpdateFeedPipelineApplicationResult application =
      OrvoUpdateFeedPipelineApplier().apply(context.application, [&](const FeedEntry&) {
        ++displayCallbackCalls;
        return context.displaySelectedUpdateReturns;
      });
  const JSON report = {{"entries", entries},
                       {"selectedIndex", selectedIndex},
                       {"application", json(application)},
                       {"displayCallbackCalls", displayCallbackCalls}};
  // In ASCII: nothing of the feed's reaches a terminal as it is.
  return report.dump(-1, ' ', true, JSON::error_handler_t::replace);
}

}  // namespace pellam::feed_tool

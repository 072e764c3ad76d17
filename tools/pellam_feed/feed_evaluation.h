#pragma once

#include <string>
#include <vector>

#include "tools/pellam_feed/evaluation_context.h"

namespace pellam::feed_tool {

// Runs one check over the feed as a host does and returns what happened as one JSON object on one line:
// every entry with its decisions, which one was selected, and what the host would store. The display decision
// of an entry is null where the selection never asks for it.
[[nodiscard]] std::string evaluateFeed(const std::vector<FeedEntry>& feed, EvaluationContext context);

}  // namespace pellam::feed_tool

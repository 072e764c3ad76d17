#pragma once

#include <stdexcept>
#include <string_view>

#include "feed/feed_pipeline.h"

namespace pellam::feed_tool {

// Everything that one evaluation takes besides the feed. The pipeline result of the application input stays
// empty here.
struct EvaluationContext {
  OrvoUpdateFeedApplicabilityContext applicability;
  OrvoUpdateFeedDisplayContext display;
  OrvoUpdateFeedPipelineApplicationInput application;
  bool displaySelectedUpdateReturns = true;
};

// One line for people: not JSON, or a value of the wrong type.
class ContextError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the JSON object whose members have the names of the fields; a member that stands for a field of
// several records fills all of them. Missing and null members leave the field false, 0, empty or absent,
// unknown members are ignored. Throws ContextError.
[[nodiscard]] EvaluationContext parseEvaluationContext(std::string_view json);

}  // namespace pellam::feed_tool

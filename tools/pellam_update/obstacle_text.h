#pragma once

#include <string_view>

#include "feed/feed_eligibility.h"

namespace pellam {

// The obstacle's name as it is spelled in the code, for scripts.
[[nodiscard]] std::string_view obstacleName(OrvoUpdateFeedObstacle obstacle);
// What goes on behind "editor-2.0 (2.0)", for people, in English.
[[nodiscard]] std::string_view obstacleText(OrvoUpdateFeedObstacle obstacle);

}  // namespace pellam

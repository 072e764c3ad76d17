#include "tools/pellam_update/obstacle_text.h"

namespace pellam {

namespace {

struct Texts {
  std::string_view name;
  std::string_view text;
};

Texts textsOf(OrvoUpdateFeedObstacle obstacle) {
  using Obstacle = OrvoUpdateFeedObstacle;
  switch (obstacle) {
    case Obstacle::otherType:
      return {"otherType", "is no update"};
    case Obstacle::switchedOff:
      return {"switchedOff", "is not looked at: updates are switched off"};
    case Obstacle::installedVersion:
      return {"installedVersion", "is for other installed versions"};
    case Obstacle::edition:
      return {"edition", "is for another edition"};
    case Obstacle::language:
      return {"language", "is for another language"};
    case Obstacle::operatingSystem:
      return {"operatingSystem", "is for other versions of the operating system"};
    case Obstacle::stagedRollOut:
      return {"stagedRollOut", "is rolled out to this installation later"};
    case Obstacle::notNewer:
      return {"notNewer", "is not newer than what is installed"};
    case Obstacle::betaNotWanted:
      return {"betaNotWanted", "is a beta release, and these are not wanted"};
    case Obstacle::noIdentifier:
      return {"noIdentifier", "has no identifier"};
    case Obstacle::shownBefore:
      return {"shownBefore", "was shown, and the reminder is not due yet"};
  }
  return {};
}

}  // namespace

std::string_view obstacleName(OrvoUpdateFeedObstacle obstacle) { return textsOf(obstacle).name; }
std::string_view obstacleText(OrvoUpdateFeedObstacle obstacle) { return textsOf(obstacle).text; }

}  // namespace pellam

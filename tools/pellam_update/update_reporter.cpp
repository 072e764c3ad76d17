#include "tools/pellam_update/update_reporter.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "foundation/date_text.h"
#include "foundation/safe_text.h"
#include "pellam/feed_entry.h"
#include "pellam/feed_keys.h"
#include "tools/pellam_update/obstacle_text.h"

namespace pellam {

namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json& object) { return object.dump(-1, ' ', true, Json::error_handler_t::replace); }

std::string eventName(OrvoAppBundleInstallerLaunchProgress::Event event) {
  using Event = OrvoAppBundleInstallerLaunchProgress::Event;
  switch (event) {
    case Event::handoffStarted:
      return "handoffStarted";
    case Event::authorizationRequired:
      return "authorizationRequired";
    case Event::authorizationBegan:
      return "authorizationBegan";
    case Event::authorizationEnded:
      return "authorizationEnded";
    case Event::jobSubmitted:
      return "jobSubmitted";
  }
  return {};
}

std::string bar(double fraction) {
  constexpr int width = 30;
  const int filled = static_cast<int>(std::lround(std::clamp(fraction, 0.0, 1.0) * width));
  return "[" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(width - filled), '.') + "]";
}

}  // namespace

void UpdateReporter::endBar() {
  if (barIsOpen_) std::fputc('\n', output_);
  barIsOpen_ = false;
}

void UpdateReporter::writeLine(const std::string& text) {
  endBar();
  std::fprintf(output_, "%s\n", visibleText(text).c_str());
  std::fflush(output_);
}

void UpdateReporter::writeJSON(const std::string& object) {
  std::fprintf(output_, "%s\n", object.c_str());
  std::fflush(output_);
}

void UpdateReporter::checking(const PellamAppIdentity& identity, const std::string& feed) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    writeJSON(dumped({{"event", "checking"},
                      {"application", identity.displayName},
                      {"version", identity.versionString},
                      {"build", identity.buildNumberString},
                      {"feed", feed}}));
  } else {
    writeLine("Checking for updates of " + identity.displayName + " " + identity.versionString + " (build " +
              identity.buildNumberString + ")…");
  }
}

void UpdateReporter::offer(const PellamAppIdentity& identity,
                           const OrvoUpdateFeedProcessingCandidate& candidate) {
  const std::lock_guard lock(lock_);
  const auto& feed = candidate.feed;
  const std::string version = feedText(feed, OrvoUpdateFeedKeys::currentVersion);
  const std::string build = feedText(feed, OrvoUpdateFeedKeys::currentBuild);
  const std::string notes = feedText(feed, OrvoUpdateFeedKeys::url);
  if (form_ == Form::json) {
    Json object = {{"event", "offer"},
                   {"version", version},
                   {"build", build},
                   {"identifier", candidate.display.resolvedFeedIdentifier.value_or("")},
                   {"isNewBuild", candidate.applicability.isNewBuild},
                   {"isBetaUpdate", candidate.applicability.isBetaUpdate},
                   {"shouldDisplayNow", candidate.display.shouldDisplayNow},
                   {"title", feedText(feed, OrvoUpdateFeedKeys::title)},
                   {"notes", notes}};
    writeJSON(dumped(object));
    return;
  }
  std::string kind = "A new version of ";
  if (candidate.applicability.isBetaUpdate) kind = "A new beta version of ";
  if (candidate.applicability.isNewBuild) kind = "A stability update of ";
  writeLine(kind + identity.displayName + " is available: " + (version.empty() ? "X" : version) +
            (build.empty() ? "" : " (build " + build + ")") + "; you have " + identity.versionString +
            " (build " + identity.buildNumberString + ").");
  if (!notes.empty()) writeLine("Release notes: " + notes);
}

void UpdateReporter::nothingToOffer(const PellamAppIdentity& identity,
                                    const std::vector<UpdateObstacle>& obstacles) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    Json entries = Json::array();
    for (const UpdateObstacle& obstacle : obstacles) {
      entries.push_back({{"identifier", feedText(obstacle.entry, OrvoUpdateFeedKeys::uid)},
                         {"version", feedText(obstacle.entry, OrvoUpdateFeedKeys::currentVersion)},
                         {"reason", obstacleName(obstacle.reason)}});
    }
    writeJSON(dumped({{"event", "nothingToOffer"}, {"entries", entries}}));
    return;
  }
  writeLine("There is nothing to offer: " + identity.displayName + " " + identity.versionString + " (build " +
            identity.buildNumberString + ") stays.");
  if (obstacles.empty()) writeLine("The feed names no update.");
  for (const UpdateObstacle& obstacle : obstacles) {
    const std::string identifier = feedText(obstacle.entry, OrvoUpdateFeedKeys::uid);
    const std::string version = feedText(obstacle.entry, OrvoUpdateFeedKeys::currentVersion);
    writeLine("  " + (identifier.empty() ? "An update" : identifier) +
              (version.empty() ? " " : " (" + version + ") ") + std::string(obstacleText(obstacle.reason)));
  }
}

void UpdateReporter::nextCheck(double seconds) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) writeJSON(dumped({{"event", "nextCheck"}, {"seconds", seconds}}));
}

void UpdateReporter::earlierFailure(const std::string& description, const std::string& failedAt) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    writeJSON(dumped({{"event", "earlierFailure"}, {"description", description}, {"failedAt", failedAt}}));
  } else {
    writeLine("An earlier update failed on " + failedAt + ": " + description);
  }
}

void UpdateReporter::progress(const OrvoUpdateProgressWindowState& state) {
  const std::lock_guard lock(lock_);
  const std::string status = state.statusText.value_or("");
  if (form_ == Form::terminal && !status.empty()) {
    const std::string drawn = state.progressFraction ? bar(*state.progressFraction) + " " : "";
    std::fprintf(output_, "\r\033[K%s %s%s", visibleText(state.title).c_str(), drawn.c_str(),
                 visibleText(status).c_str());
    std::fflush(output_);
    barIsOpen_ = true;
    lastTitle_ = state.title;
    return;
  }
  // A thousand chunks are not a thousand events.
  constexpr std::uint64_t second = 1'000'000'000;
  const int parts = form_ == Form::json ? 100 : 10;
  const std::uint64_t pause = (form_ == Form::json ? 1 : 5) * second;
  const int part =
      state.progressFraction ? static_cast<int>(std::clamp(*state.progressFraction, 0.0, 1.0) * parts) : -1;
  const bool isUncounted = !state.progressFraction && !status.empty();
  const std::uint64_t now = uptime_();
  const bool isDue = isUncounted && now - lastTime_ >= pause;
  if (state.title == lastTitle_ && part == lastPart_ && !isDue) return;
  lastTitle_ = state.title;
  lastPart_ = part;
  lastTime_ = now;
  if (form_ == Form::json) {
    Json object = {{"event", "progress"}, {"title", state.title}, {"status", nullptr}, {"fraction", nullptr}};
    if (state.statusText) object["status"] = *state.statusText;
    if (state.progressFraction) object["fraction"] = *state.progressFraction;
    writeJSON(dumped(object));
    return;
  }
  writeLine(state.title + (status.empty() ? "" : " " + status));
}

void UpdateReporter::launchProgress(const OrvoAppBundleInstallerLaunchProgress& progress) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    writeJSON(dumped({{"event", "launch"}, {"step", eventName(progress.event)}}));
  } else if (progress.event == OrvoAppBundleInstallerLaunchProgress::Event::authorizationBegan) {
    writeLine("Waiting for an administrator's authorization…");
  }
}

void UpdateReporter::launched(const std::string& installedPath) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    writeJSON(dumped({{"event", "launched"}, {"installed", installedPath}}));
  } else {
    writeLine("The installer has taken over; it replaces " + installedPath +
              " as soon as this program has ended.");
  }
}

void UpdateReporter::openedInstaller(const std::string& path) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    writeJSON(dumped({{"event", "openedInstaller"}, {"path", path}}));
  } else {
    writeLine("Opened the installer " + path + ".");
  }
}

void UpdateReporter::cancelled() {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) writeJSON(dumped({{"event", "cancelled"}}));
  endBar();
}

void UpdateReporter::tooLateToCancel() {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    writeJSON(dumped({{"event", "tooLateToCancel"}}));
  } else {
    writeLine("It is too late to cancel: the update has been handed to the installer.");
  }
}

void UpdateReporter::failed(const std::string& error, const std::string& message) {
  const std::lock_guard lock(lock_);
  if (form_ == Form::json) {
    writeJSON(dumped({{"event", "failed"}, {"error", error}, {"message", message}}));
  }
  endBar();
}

}  // namespace pellam

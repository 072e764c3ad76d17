#include "examples/editor/updating/logged_progress.h"

namespace pellam {

void LoggedProgress::update(const OrvoUpdateProgressWindowState& state) {
  // The last of a download's many states is always full; the others are only noise in a log.
  const bool isMidway = state.progressFraction && *state.progressFraction > 0 && *state.progressFraction < 1;
  if (isMidway || (state.title == lastTitle_ && state.progressFraction != 1.0)) return;
  lastTitle_ = state.title;
  log_("progress " + state.title + (state.statusText ? " " + *state.statusText : ""));
}

void LoggedProgress::showReadyToInstallAndRelaunch(const std::string& title, const std::string& buttonTitle,
                                                   std::function<void()> action) {
  log_("progress " + title + " [" + buttonTitle + "]");
  action();
}

void LoggedProgress::close() { log_("progress window closed"); }

std::string launchText(const OrvoAppBundleInstallerLaunchProgress& progress) {
  using Event = OrvoAppBundleInstallerLaunchProgress::Event;
  switch (progress.event) {
    case Event::handoffStarted:
      return "launcher service has the request";
    case Event::authorizationRequired:
      return "authorization required";
    case Event::authorizationBegan:
      return "authorization began";
    case Event::authorizationEnded:
      return "authorization ended";
    case Event::jobSubmitted:
      return "installer job submitted";
  }
  return "";
}

}  // namespace pellam

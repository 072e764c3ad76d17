#include "examples/editor/editor_update.h"

#include <functional>

#include "feed/feed_keys.h"
#include "foundation/installer_error.h"
#include "host/installer_error_text.h"

namespace pellam {

namespace {

// The sample has no windows: its progress goes to the log, and it agrees to the installation at once.
class LoggedProgress final : public OrvoUpdateProgressWindow {
 public:
  explicit LoggedProgress(EditorLog& log) : log_(log) {}
  void update(const OrvoUpdateProgressWindowState& state) override {
    // The last of a download's many states is always full; the others are only noise in a log.
    const bool isMidway =
        state.progressFraction && *state.progressFraction > 0 && *state.progressFraction < 1;
    if (isMidway || (state.title == lastTitle_ && state.progressFraction != 1.0)) return;
    lastTitle_ = state.title;
    log_.write("progress " + state.title + (state.statusText ? " " + *state.statusText : ""));
  }
  void showReadyToInstallAndRelaunch(const std::string& title, const std::string& buttonTitle,
                                     std::function<void()> action) override {
    log_.write("progress " + title + " [" + buttonTitle + "]");
    action();
  }
  void requestUserAttention() override {}
  void close() override { log_.write("progress window closed"); }

 private:
  EditorLog& log_;
  std::string lastTitle_;
};

const char* eventText(OrvoAppBundleInstallerLaunchProgress::Event event) {
  using Event = OrvoAppBundleInstallerLaunchProgress::Event;
  switch (event) {
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

}  // namespace

bool EditorUpdate::updateIfOffered(const URL& feed, const UpdateCheckOptions& options, MainThread& mainThread,
                                   const CancellationToken& cancellation) {
  try {
    const std::string& identifier = application_.identity.bundleIdentifier;
    const auto report = reports_->consumeFailureReport(identifier, std::nullopt);
    if (report) log_.write("report " + report->errorDescription);
    const std::vector<FeedEntry> entries = check_->fetch(feed, cancellation);
    UpdateCheckResult result;
    mainThread.performAndWait([&] {
      result = check_->decide(entries, application_, options, [](const FeedEntry&) { return true; });
    });
    const auto& candidate = result.pipeline.selectedCandidate;
    if (!candidate || !candidate->display.shouldDisplayNow) {
      log_.write("decision nothing to offer");
      return false;
    }
    const PropertyListText* version = candidate->feed.findString(OrvoUpdateFeedKeys::currentVersion);
    log_.write("decision offer " + (version == nullptr ? std::string("?") : *version));
    // What has just failed is not tried again at once: the application would replace itself for ever.
    if (report) return false;
    return install(candidate->feed, cancellation);
  } catch (const OrvoUpdateInstallerError& error) {
    log_.write("failed " + std::string(error.caseName()) + ": " + installerErrorText(error));
  } catch (const std::exception& error) {
    log_.write(std::string("failed ") + error.what());
  }
  return false;
}

bool EditorUpdate::install(const FeedEntry& entry, const CancellationToken& cancellation) {
  const auto request = OrvoAppBundleUpdateRequest::makeFromFeed(
      entry, application_.identity.displayName, application_.path, application_.hostIdentity(),
      application_.helperExecutable(), "SeamlessInstaller", identifiers_->makeUUID());
  const auto window = std::make_shared<LoggedProgress>(log_);
  const auto replacement = coordinator_->installAppBundleUpdate(
      request, window,
      [this](const OrvoAppBundleInstallerLaunchProgress& progress) {
        log_.write(std::string("launch ") + eventText(progress.event));
      },
      cancellation);
  log_.write("staged " + replacement.stagedApplicationURL.string());
  log_.write("launched");
  return true;
}

}  // namespace pellam

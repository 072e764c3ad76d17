#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "pellam/url.h"
#include "platform/bundle_loading.h"
#include "platform/window_toolkit.h"

namespace pellam {

// Where an automatic update failed.
enum class OrvoUpdateManualUpdateFailurePhase { download, installation };

// How a check that the user asked for has ended.
struct OrvoUpdateManualCheckCompletionInput {
  bool shouldShowNoUpdatesFoundDialog = false;  // an answer is wanted: nothing was offered
  bool updateCheckPerformedOK = false;
  std::string applicationName;
  bool shouldOfferBetaToggle = false;
  bool betaToggleEnabled = false;  // the user's setting, and so the checkbox's first state
  std::filesystem::path localizationBundle;
};

// What the caller records. Compared member by member.
struct OrvoUpdateManualCheckCompletionResult {
  bool didPresentAlert = false;
  bool shouldClearNoUpdatesFoundDialog = false;  // the answer was given
  std::optional<bool> selectedBetaToggleState;   // when a checkbox was shown: the user's new setting

  friend bool operator==(const OrvoUpdateManualCheckCompletionResult&,
                         const OrvoUpdateManualCheckCompletionResult&) = default;
};

// The modal alerts of the update flow. Operations named make… build an alert without showing it; those named
// present… run it modally, which handles other main-thread work meanwhile, and act on the answer. They touch
// nothing of the presenter's caller, and hold what they need, so that the presenter may be destroyed while
// one of its alerts is open. Writes no settings. Main thread only.
class OrvoUpdateAlertPresenter {
 public:
  using OpenURL = std::function<bool(const URL&)>;
  using Path = std::filesystem::path;
  using Text = std::optional<std::string>;

  // `openURL` opens the page for the manual update; its answer is ignored.
  OrvoUpdateAlertPresenter(std::shared_ptr<WindowToolkit> toolkit, std::shared_ptr<BundleLoading> bundles,
                           OpenURL openURL)
      : toolkit_(std::move(toolkit)), bundles_(std::move(bundles)), openURL_(std::move(openURL)) {}

  void presentUnableToCheckForUpdatesAlert(bool offline, const Path& localizationBundle);
  // An absent informative text is the standard one where there is one; an empty one stays empty.
  void presentDownloadFailedAlert(const Path& localizationBundle, const Text& informativeText);

  [[nodiscard]] AlertDescription makeInstallationFailedAlert(const Path& localizationBundle,
                                                             const Text& informativeText) const;
  void presentInstallationFailedAlert(const Path& localizationBundle, const Text& informativeText);

  [[nodiscard]] AlertDescription makeManualUpdateAlert(const Path& localizationBundle,
                                                       const Text& informativeText,
                                                       OrvoUpdateManualUpdateFailurePhase failurePhase) const;
  void presentManualUpdateAlert(const Path& localizationBundle, const Text& informativeText,
                                const URL& manualUpdateURL, OrvoUpdateManualUpdateFailurePhase failurePhase);

  [[nodiscard]] AlertDescription makeUpdateCancelledAlert(const Path& localizationBundle) const;
  void presentUpdateCancelledAlert(const Path& localizationBundle);

  // Nothing when no answer is wanted.
  [[nodiscard]] std::optional<AlertDescription> makeManualCheckCompletionAlert(
      const OrvoUpdateManualCheckCompletionInput& input) const;
  [[nodiscard]] OrvoUpdateManualCheckCompletionResult presentManualCheckCompletionAlert(
      const OrvoUpdateManualCheckCompletionInput& input);

 private:
  std::shared_ptr<WindowToolkit> toolkit_;
  std::shared_ptr<BundleLoading> bundles_;
  OpenURL openURL_;
};

}  // namespace pellam

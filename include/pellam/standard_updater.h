#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "pellam/key_value_storing.h"
#include "pellam/logger.h"
#include "pellam/update_offer.h"
#include "pellam/url.h"

namespace [[gnu::visibility("default")]] pellam {

class [[gnu::visibility("hidden")]] StandardUpdaterCore;

// What an application decides about its updates. Only the feed has no default.
struct OrvoStandardUpdaterConfiguration {
  URL feedURL;
  std::string applicationLogoImageName{};      // shown in the prompt; unknown: no picture
  std::filesystem::path localizationBundle{};  // whose strings tables have the texts; empty: the application
  double promptWidth = 600;                    // the smallest content size, in points
  double promptHeight = 500;
  bool allowsInstalling = true;          // false: offers are only shown
  bool offersBetaToggle = true;          // "Check for beta releases" after a check that found nothing
  std::optional<URL> manualUpdateURL{};  // where users can download by hand
  std::string defaultInstallerNameFormat = usualInstallerNameFormat;
  std::set<std::string, std::less<>> acceptedSKUs{};
  std::optional<std::string> preferredLanguageCode{};
  std::string currentOSVersion{};  // "14.5"
  std::int64_t staggerDays = 7;    // staged roll-outs spread over that many days; 1 or less: none
};

// What the application brings along. Only the bundle has no default.
struct OrvoStandardUpdaterSurroundings {
  std::filesystem::path bundle;  // the running application's
  // Ends the application, soon or at once. Called on the main thread when the installer helper has taken
  // over: it waits for exactly this. The updater may be destroyed inside.
  std::function<void()> terminate{};
  std::shared_ptr<PellamLogger> logger{};             // absent: nothing is logged
  std::shared_ptr<PellamKeyValueStoring> settings{};  // absent: the user's preferences
};

// The whole host side of updates: checks by itself and on demand, shows the offer, installs it, and tells the
// user what went wrong. One for each application. Main thread only; checks and installations run on a thread
// of its own, and windows are touched on the main thread alone.
//
// One check and one installation at a time. A check that the user asks for takes over an automatic one that
// is on its way; it replaces an open prompt by what it finds; during an installation it brings the progress
// window to the front. Automatic checks never interrupt: they are silent unless there is an offer.
//
// What is remembered, in the settings: what was offered and when, so that an automatic check offers again
// when the reminder interval ("PellamUpdateReminderHours", 24) has passed, whether the user wanted to be
// reminded or dismissed the prompt; when the next check is due; the stagger group, drawn once; the beta
// setting; and the attempt that the helper works on.
//
// Destroying it cancels what runs, closes its windows, and returns when its thread has ended. That takes as
// long as what cannot be cancelled: unpacking, verifying, and the hand-off to the launcher service, with the
// administrator's answer where one is asked for. It may happen at any moment, inside an open alert and inside
// `terminate`, too.
//
// For example:
//
//     OrvoStandardUpdaterConfiguration configuration{.feedURL = feedAddress};
//     configuration.applicationLogoImageName = "Editor";
//     try {
//       const auto updater = makeStandardUpdater(configuration, {.bundle = applicationBundle});
//       updater->start();            // automatic checks from now on
//       updater->checkForUpdates();  // what the menu's "Check for Updates…" does
//       assert(!updater->isInstalling());
//     } catch (const std::exception& error) {
//       std::puts(error.what());  // an application goes on without updates
//     }
class OrvoStandardUpdater {
 public:
  explicit OrvoStandardUpdater(std::unique_ptr<StandardUpdaterCore> core);
  ~OrvoStandardUpdater();
  OrvoStandardUpdater(const OrvoStandardUpdater&) = delete;
  OrvoStandardUpdater& operator=(const OrvoStandardUpdater&) = delete;

  // Begins automatic checks. Before the first check, also of checkForUpdates(), the report of an installation
  // that failed is shown, once, and what earlier attempts left behind is removed.
  void start();

  // Checks because the user asked; every outcome is shown.
  void checkForUpdates();

  // Stops an installation that has not reached the helper; nothing is shown.
  void cancelInstallation();
  [[nodiscard]] bool isInstalling() const;

 private:
  std::unique_ptr<StandardUpdaterCore> core_;
};

// Needs Pellam::Updater. The updater over the system's own windows, files, network and processes, for an
// application whose windows are the system's. Make it on the main thread. The operating system's version and
// the user's language are filled in where the configuration leaves them out. Throws InstalledApplicationError
// for a bundle that cannot be updated, and DisplayUnavailable; nothing has been started then.
[[nodiscard]] std::unique_ptr<OrvoStandardUpdater> makeStandardUpdater(
    OrvoStandardUpdaterConfiguration configuration, OrvoStandardUpdaterSurroundings surroundings);

}  // namespace pellam

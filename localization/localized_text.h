#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/bundle_loading.h"

namespace pellam {

// A text that the user sees: its English form is the key in the strings table. The comment belongs to the
// table: it tells translators where the text appears, and it tells apart tables that were made from the code.
struct LocalizedText {
  std::string_view key;
  std::string_view table;  // empty: the bundle's default table
  std::string_view comment;

  friend bool operator==(const LocalizedText&, const LocalizedText&) = default;
};

// The text in the user's language as the bundle's tables have it, else its English form. Reads the disk.
[[nodiscard]] std::string localized(const BundleLoading& bundles, const std::filesystem::path& bundle,
                                    const LocalizedText& text);

// Every text of the system that is translated. Two more come from elsewhere and are looked up in the default
// table with an empty comment: the title that a feed entry states, and the sentence that begins with the
// application's own name (the name followed by `promptSentenceEnding`).
namespace localized_texts {

inline constexpr std::string_view updates = "Updates";
inline constexpr std::string_view promptSentenceEnding =
    " version %@ is now available － you have %@. Would you like to download it now?";

// The prompt.
inline constexpr LocalizedText stabilityUpdateAvailable{"Stability Update Available", updates,
                                                        "Build-only update title"};
inline constexpr LocalizedText stabilityUpdateSentence{
    "A stability update for %1$@ %2$@ is available. You have build %3$@; build %4$@ is ready to install.",
    updates, "Build-only update description"};
inline constexpr LocalizedText newBetaVersion{"A new beta version is available!", "", ""};
inline constexpr LocalizedText newVersion{"A new version is available!", "", ""};
inline constexpr LocalizedText installUpdate{"Install Update", updates, "news feed button"};
inline constexpr LocalizedText remindMeLater{"Remind Me Later", "", "news feed button"};
inline constexpr LocalizedText skipThisUpdate{"Skip This Update", updates, "news feed button"};
inline constexpr LocalizedText dismissOK{"OK", "", "news feed button"};
inline constexpr LocalizedText releaseNotes{"Release Notes:", "", ""};
inline constexpr LocalizedText showReleaseNotes{"Show Release Notes", updates, "news feed button"};

// The progress window.
inline constexpr LocalizedText applicationUpdate{"%@ Update", updates, "update progress window title"};
inline constexpr LocalizedText softwareUpdate{"Software Update", updates, "update progress window title"};
inline constexpr LocalizedText downloadingUpdate{"Downloading update…", updates, "update progress"};
inline constexpr LocalizedText preparingDownload{"Preparing download…", updates, "update progress"};
inline constexpr LocalizedText extractingUpdate{"Extracting update…", updates, "update progress"};
inline constexpr LocalizedText verifyingUpdate{"Verifying update…", updates, "update progress"};
inline constexpr LocalizedText readyToInstall{"Ready to Install", updates, "update progress"};
inline constexpr LocalizedText installAndRelaunch{"Install and Relaunch", updates, "update progress"};
inline constexpr LocalizedText preparingToInstall{"Preparing to install…", updates, "update progress"};
inline constexpr LocalizedText openingInstaller{"Opening installer…", updates, "update progress"};
inline constexpr LocalizedText bytesOfBytes{"%@ of %@", updates, "update progress"};
inline constexpr LocalizedText bytesDownloaded{"%@ downloaded", updates, "update progress"};

// The alerts. "new window alert" and "news window alert" are two comments.
inline constexpr LocalizedText unableToCheck{"Unable to Check For Updates", updates, "news window alert"};
inline constexpr LocalizedText unableToCheckOffline{
    "Unable to Check For Updates. Internet appears to be offline.", updates, "news window alert"};
inline constexpr LocalizedText tryAgainLater{"Please try again later.", updates, "news window alert"};
inline constexpr LocalizedText noUpdatesAvailable{"No Updates Available", updates, "new window alert"};
inline constexpr LocalizedText runningCurrentVersion{"You are running the current version of %@.", updates,
                                                     "news window alert"};
inline constexpr LocalizedText checkForBetaReleases{"Check for beta releases", "", "Check for beta releases"};
inline constexpr LocalizedText downloadFailed{"Download Failed", updates, "installer download error"};
inline constexpr LocalizedText manualDownload{
    "The automatic update could not be installed. You can download the update manually.", updates,
    "manual update fallback"};
inline constexpr LocalizedText updateFailed{"Update Failed", updates, "automatic update installation error"};
inline constexpr LocalizedText manualInstallation{
    "The update could not be installed automatically. You can download and install it manually.", updates,
    "manual installation fallback"};
inline constexpr LocalizedText updateManually{"Update Manually", updates, "manual update fallback button"};
inline constexpr LocalizedText cancel{"Cancel", updates, "manual update fallback cancel button"};
inline constexpr LocalizedText updateCanceled{"Update Canceled", updates,
                                              "automatic update authorization canceled"};
inline constexpr LocalizedText updateNotInstalled{
    "The update was not installed. It will be offered again the next time you check for updates.", updates,
    "automatic update authorization canceled"};
inline constexpr LocalizedText alertOK{"OK", updates, "alert confirmation button"};

// The launcher service's question to an administrator.
inline constexpr LocalizedText authorizationPrompt{
    "%@ needs permission to update the installed app.", updates,
    "administrator authorization prompt shown while installing an app update"};

inline constexpr std::array all = {
    stabilityUpdateAvailable,
    stabilityUpdateSentence,
    newBetaVersion,
    newVersion,
    installUpdate,
    remindMeLater,
    skipThisUpdate,
    dismissOK,
    releaseNotes,
    showReleaseNotes,
    applicationUpdate,
    softwareUpdate,
    downloadingUpdate,
    preparingDownload,
    extractingUpdate,
    verifyingUpdate,
    readyToInstall,
    installAndRelaunch,
    preparingToInstall,
    openingInstaller,
    bytesOfBytes,
    bytesDownloaded,
    unableToCheck,
    unableToCheckOffline,
    tryAgainLater,
    noUpdatesAvailable,
    runningCurrentVersion,
    checkForBetaReleases,
    downloadFailed,
    manualDownload,
    updateFailed,
    manualInstallation,
    updateManually,
    cancel,
    updateCanceled,
    updateNotInstalled,
    alertOK,
    authorizationPrompt,
};

}  // namespace localized_texts

}  // namespace pellam

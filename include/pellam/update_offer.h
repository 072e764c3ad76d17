#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "pellam/feed_entry.h"

namespace [[gnu::visibility("default")]] pellam {

// What a separate installer is called when its entry does not say; "%@" is the application's name.
inline constexpr const char* usualInstallerNameFormat = "%@ Installer.pkg";

// How an entry wants to be installed.
enum class OfferKind {
  inPlace,            // "app-installer": the application bundle is replaced
  separateInstaller,  // only "installer": an installer is opened, and the user does the rest
  none,               // neither: the entry only tells
};

// What a feed offers to this installation. A value.
struct UpdateOffer {
  FeedEntry entry;  // whole, as it stands in the feed
  OfferKind kind = OfferKind::none;
  std::string identifier{};  // by which the offer is remembered; empty when the entry has none
  std::string version{};     // the texts of the entry; empty where it has none
  std::string build{};
  std::string title{};
  std::string releaseNotes{};  // their address
  bool isNewBuild = false;     // the same version, built anew
  bool isBeta = false;
  bool isDue = false;  // is to be shown now; otherwise a reminder waits for its time

  friend bool operator==(const UpdateOffer&, const UpdateOffer&) = default;
};

// Who asked for a check. What the user asked for is answered whatever comes of it, and offers again what a
// reminder holds back.
enum class CheckReason { automatic, manual };

// How one check differs from the next.
struct UpdateCheckOptions {
  CheckReason reason = CheckReason::manual;
  bool checkForBetaReleases = false;                   // in addition to the user's setting
  std::optional<std::string> preferredLanguageCode{};  // absent: the user's
  std::set<std::string, std::less<>> acceptedSKUs{};
  std::string currentOSVersion{};              // "14.5"; empty: the running system's
  std::optional<std::int64_t> staggerGroup{};  // overrides the remembered one
  // The host would end this check by telling the user that there is no update.
  bool shouldConfirmNoUpdatesDialog = true;
  // False for a look that must not count as having shown the offer.
  bool remembersWhatIsShown = true;
};

// What one check came to. A value.
//
// For example:
//
//     const auto isWorthAWord = [](const UpdateDecision& decision) {
//       return decision.offer && decision.offer->isDue && decision.offer->kind != OfferKind::none;
//     };
//     UpdateDecision decision;
//     assert(!isWorthAWord(decision));
//     decision.offer = UpdateOffer{.entry = {}, .kind = OfferKind::inPlace};
//     decision.offer->isDue = true;
//     assert(isWorthAWord(decision));
struct UpdateDecision {
  std::optional<UpdateOffer> offer;            // nothing: no entry is meant for this installation
  bool wasShown = false;                       // the host has shown it
  std::optional<double> secondsToNextCheck{};  // where the feed or the default states a time

  friend bool operator==(const UpdateDecision&, const UpdateDecision&) = default;
};

}  // namespace pellam

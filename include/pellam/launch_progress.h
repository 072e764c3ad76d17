#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "pellam/property_list_value.h"

namespace [[gnu::visibility("default")]] pellam {

// One step of an installer launch, as the service reports it to the host.
//
// For example:
//
//     using Progress = OrvoAppBundleInstallerLaunchProgress;
//     const LaunchProgressHandler handler = [](const Progress& progress) {
//       if (progress.event == Progress::Event::authorizationBegan) std::puts("An administrator is asked.");
//     };
//     handler(Progress::authorizationBegan());
struct OrvoAppBundleInstallerLaunchProgress {
  enum class Event {
    handoffStarted,
    authorizationRequired,
    authorizationBegan,
    authorizationEnded,
    jobSubmitted
  };

  Event event = Event::handoffStarted;
  bool destinationParentIsWritable = false;    // authorizationRequired only
  bool canPreserveInstalledOwnership = false;  // authorizationRequired only
  std::uint64_t elapsedNanoseconds = 0;        // authorizationEnded only

  [[nodiscard]] static OrvoAppBundleInstallerLaunchProgress handoffStarted();
  [[nodiscard]] static OrvoAppBundleInstallerLaunchProgress authorizationRequired(
      bool destinationParentIsWritable, bool canPreserveInstalledOwnership);
  [[nodiscard]] static OrvoAppBundleInstallerLaunchProgress authorizationBegan();
  [[nodiscard]] static OrvoAppBundleInstallerLaunchProgress authorizationEnded(
      std::uint64_t elapsedNanoseconds);
  [[nodiscard]] static OrvoAppBundleInstallerLaunchProgress jobSubmitted();

  [[nodiscard]] PropertyListDictionary xpcDictionary() const;
  // Nothing for a dictionary that is no event; the receiver drops it.
  [[nodiscard]] static std::optional<OrvoAppBundleInstallerLaunchProgress> fromXPCDictionary(
      const PropertyListDictionary& dictionary);

  friend bool operator==(const OrvoAppBundleInstallerLaunchProgress&,
                         const OrvoAppBundleInstallerLaunchProgress&) = default;
};

// May be called from any thread.
using LaunchProgressHandler = std::function<void(const OrvoAppBundleInstallerLaunchProgress&)>;

}  // namespace pellam

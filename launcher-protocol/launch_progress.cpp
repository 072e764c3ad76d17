#include "pellam/launch_progress.h"

#include <array>
#include <string_view>

#include "launcher-protocol/value_readers.h"

namespace pellam {

namespace {

using Progress = OrvoAppBundleInstallerLaunchProgress;

constexpr const char* eventKey = "event";
constexpr const char* writableKey = "destinationParentIsWritable";
constexpr const char* preservableKey = "canPreserveInstalledOwnership";
constexpr const char* elapsedKey = "elapsedNanoseconds";

// In the order of the enumeration.
constexpr std::array<std::string_view, 5> eventNames = {
    "handoffStarted", "authorizationRequired", "authorizationBegan", "authorizationEnded", "jobSubmitted"};

Progress plain(Progress::Event event) {
  Progress progress;
  progress.event = event;
  return progress;
}

}  // namespace

Progress Progress::handoffStarted() { return plain(Event::handoffStarted); }

Progress Progress::authorizationRequired(bool destinationParentIsWritable,
                                         bool canPreserveInstalledOwnership) {
  Progress progress = plain(Event::authorizationRequired);
  progress.destinationParentIsWritable = destinationParentIsWritable;
  progress.canPreserveInstalledOwnership = canPreserveInstalledOwnership;
  return progress;
}

Progress Progress::authorizationBegan() { return plain(Event::authorizationBegan); }

Progress Progress::authorizationEnded(std::uint64_t elapsedNanoseconds) {
  Progress progress = plain(Event::authorizationEnded);
  progress.elapsedNanoseconds = elapsedNanoseconds;
  return progress;
}

Progress Progress::jobSubmitted() { return plain(Event::jobSubmitted); }

PropertyListDictionary Progress::xpcDictionary() const {
  PropertyListDictionary dictionary{{eventKey, eventNames.at(static_cast<std::size_t>(event))}};
  if (event == Event::authorizationRequired) {
    dictionary.set(writableKey, destinationParentIsWritable);
    dictionary.set(preservableKey, canPreserveInstalledOwnership);
  } else if (event == Event::authorizationEnded) {
    dictionary.set(elapsedKey, elapsedNanoseconds);
  }
  return dictionary;
}

std::optional<Progress> Progress::fromXPCDictionary(const PropertyListDictionary& dictionary) {
  const PropertyListText* name = dictionary.findString(eventKey);
  if (name == nullptr) return std::nullopt;
  if (*name == "authorizationRequired") {
    const auto writable = boolValue(dictionary.find(writableKey));
    const auto preservable = boolValue(dictionary.find(preservableKey));
    if (!writable || !preservable) return std::nullopt;
    return authorizationRequired(*writable, *preservable);
  }
  if (*name == "authorizationEnded") {
    const auto elapsed = uint64Value(dictionary.find(elapsedKey));
    if (!elapsed) return std::nullopt;
    return authorizationEnded(*elapsed);
  }
  for (const Event event : {Event::handoffStarted, Event::authorizationBegan, Event::jobSubmitted}) {
    if (*name == eventNames.at(static_cast<std::size_t>(event))) return plain(event);
  }
  return std::nullopt;
}

}  // namespace pellam

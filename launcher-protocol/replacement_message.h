#pragma once

#include "launcher-protocol/replacement_request.h"
#include "pellam/property_list_value.h"

namespace pellam {

// The one message that a host sends to its launcher service: a replacement request as a flat dictionary of
// strings, numbers and booleans. The keys and their types are in docs/wire-format.md. The helper executable
// is never sent; the service knows its own. A value.
struct OrvoAppBundleXPCReplacementMessage {
  OrvoAppBundleReplacementRequest request;

  // Optional parts of the request that are absent leave out their keys.
  [[nodiscard]] PropertyListDictionary propertyList() const;

  // Throws OrvoAppBundleInstallerLaunchRefusal: malformedMessage, naming every required key that is missing
  // or invalid, or invalidLaunchUserContext. Paths are taken as they are written, without trailing slashes;
  // whether they exist or may be used is for the receiver to check.
  [[nodiscard]] static OrvoAppBundleXPCReplacementMessage parse(const PropertyListDictionary& dictionary);

  friend bool operator==(const OrvoAppBundleXPCReplacementMessage&,
                         const OrvoAppBundleXPCReplacementMessage&) = default;
};

// The location that a path text names: the text without trailing slashes.
[[nodiscard]] std::filesystem::path locationFromPathText(std::string text);

}  // namespace pellam

#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "launcher-protocol/replacement_request.h"
#include "pellam/property_list_value.h"
#include "pellam/url.h"

namespace pellam {

// An update that ends in an installer which the user runs. Compared member by member.
struct OrvoUpdateInstallerRequest {
  std::optional<URL> archiveURL;
  std::optional<URL> fallbackArchiveURL;  // tried when the first address fails
  std::string archiveFileName;            // the name under which the archive is stored
  std::string installerFileName;          // the file inside the archive that is opened
  std::string applicationName;            // first folder level of the staging place
  std::string installerSubdirectoryName;  // second folder level

  // Reads "installer" and "installer-name" of a feed entry. Never fails: an address that is missing or none
  // is an absent archiveURL, which the coordinator refuses. `defaultInstallerNameFormat` has one "%@" for the
  // application's name.
  [[nodiscard]] static OrvoUpdateInstallerRequest makeFromFeed(const PropertyListDictionary& feed,
                                                               const std::string& applicationName,
                                                               const std::string& defaultInstallerNameFormat,
                                                               const std::string& installerSubdirectoryName);

  friend bool operator==(const OrvoUpdateInstallerRequest&, const OrvoUpdateInstallerRequest&) = default;
};

// An update that replaces the application bundle in place. Compared member by member.
struct OrvoAppBundleUpdateRequest {
  std::optional<URL> archiveURL;
  std::optional<URL> fallbackArchiveURL;
  std::string archiveFileName;
  std::string applicationName;
  std::filesystem::path installedApplicationURL;
  OrvoAppBundleUpdateHostIdentity hostIdentity;
  std::optional<std::filesystem::path> helperExecutableURL;
  std::string installerSubdirectoryName;
  std::optional<std::string> failureReportAttemptIdentifier;

  // What the feed does not say.
  struct Surroundings {
    std::string applicationName;
    std::filesystem::path installedApplicationURL;
    OrvoAppBundleUpdateHostIdentity hostIdentity;
    std::optional<std::filesystem::path> helperExecutableURL;
    std::string installerSubdirectoryName;
    std::optional<std::string> failureReportAttemptIdentifier{};
  };

  // Reads "app-installer" of a feed entry; otherwise like the request above.
  [[nodiscard]] static OrvoAppBundleUpdateRequest makeFromFeed(const PropertyListDictionary& feed,
                                                               const Surroundings& surroundings);

  friend bool operator==(const OrvoAppBundleUpdateRequest&, const OrvoAppBundleUpdateRequest&) = default;
};

}  // namespace pellam

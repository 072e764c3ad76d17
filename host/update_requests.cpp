#include "host/update_requests.h"

#include "foundation/text_format.h"
#include "pellam/feed_entry.h"
#include "pellam/feed_keys.h"

namespace pellam {

namespace {

std::optional<URL> address(const PropertyListDictionary& feed, std::string_view key) {
  const PropertyListText* text = feed.findString(key);
  return text == nullptr ? std::nullopt : URL::parse(*text);
}

std::string fileName(const std::optional<URL>& url) { return url ? url->lastPathComponent() : std::string(); }

}  // namespace

OrvoUpdateInstallerRequest OrvoUpdateInstallerRequest::makeFromFeed(
    const PropertyListDictionary& feed, const std::string& applicationName,
    const std::string& defaultInstallerNameFormat, const std::string& installerSubdirectoryName) {
  OrvoUpdateInstallerRequest request;
  request.archiveURL = address(feed, OrvoUpdateFeedKeys::installerURL);
  request.archiveFileName = fileName(request.archiveURL);
  const PropertyListText* name = readFeedKey(feed, OrvoUpdateFeedKeys::installerName);
  request.installerFileName =
      name != nullptr ? *name : formatText(defaultInstallerNameFormat, {applicationName});
  request.applicationName = applicationName;
  request.installerSubdirectoryName = installerSubdirectoryName;
  return request;
}

OrvoAppBundleUpdateRequest OrvoAppBundleUpdateRequest::makeFromFeed(const PropertyListDictionary& feed,
                                                                    const Surroundings& surroundings) {
  OrvoAppBundleUpdateRequest request;
  request.archiveURL = address(feed, OrvoUpdateFeedKeys::appBundleInstallerURL);
  request.archiveFileName = fileName(request.archiveURL);
  request.applicationName = surroundings.applicationName;
  request.installedApplicationURL = surroundings.installedApplicationURL;
  request.hostIdentity = surroundings.hostIdentity;
  request.helperExecutableURL = surroundings.helperExecutableURL;
  request.installerSubdirectoryName = surroundings.installerSubdirectoryName;
  request.failureReportAttemptIdentifier = surroundings.failureReportAttemptIdentifier;
  return request;
}

}  // namespace pellam

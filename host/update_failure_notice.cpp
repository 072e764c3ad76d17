#include "host/update_failure_notice.h"

#include "pellam/feed_keys.h"

namespace pellam {

UpdateFailureNotice updateFailureNotice(const OrvoUpdateInstallerError& error) {
  using Case = OrvoUpdateInstallerError::Case;
  switch (error.errorCase()) {
    case Case::authorizationCancelled:
      return UpdateFailureNotice::authorizationCancelled;
    case Case::missingArchiveURL:
    case Case::downloadFailed:
      return UpdateFailureNotice::downloadFailed;
    default:
      return UpdateFailureNotice::installationFailed;
  }
}

bool isOfflineError(const URLLoadingError& error) {
  using Code = URLLoadingError::Code;
  switch (error.code()) {
    case Code::notConnectedToInternet:
    case Code::cannotFindHost:  // without a network no name can be resolved
      return true;
    default:
      return false;
  }
}

std::optional<URL> manualUpdateAddress(const FeedEntry& entry, const std::optional<URL>& hostAddress) {
  const auto isWebAddress = [](const URL& url) { return url.scheme() == "https" || url.scheme() == "http"; };
  if (hostAddress && isWebAddress(*hostAddress)) return hostAddress;
  const PropertyListText* installer = readFeedKey(entry, OrvoUpdateFeedKeys::installerURL);
  if (installer == nullptr) return std::nullopt;
  const std::optional<URL> url = URL::parse(*installer);
  return url && isWebAddress(*url) ? url : std::nullopt;
}

}  // namespace pellam

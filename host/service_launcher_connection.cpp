#include "host/service_launcher_connection.h"

namespace pellam {

namespace {

constexpr const char* cocoaErrorDomain = "NSCocoaErrorDomain";
constexpr std::int64_t connectionInterrupted = 4097;
constexpr std::int64_t connectionInvalid = 4099;

}  // namespace

void OrvoAppBundleInstallerLauncherProgressReceiver::reportProgress(const PropertyListDictionary& event) {
  if (const auto progress = OrvoAppBundleInstallerLaunchProgress::fromXPCDictionary(event)) {
    progressHandler_(*progress);
  }
}

OrvoAppBundleNSXPCInstallerLauncherServiceConnection::OrvoAppBundleNSXPCInstallerLauncherServiceConnection(
    std::shared_ptr<ServiceConnection> connection, ServiceErrorHandler errorHandler,
    LaunchProgressHandler progressHandler)
    : connection_(std::move(connection)), errorHandler_(std::move(errorHandler)) {
  connection_->setExportedObject(
      std::make_shared<OrvoAppBundleInstallerLauncherProgressReceiver>(std::move(progressHandler)));
  connection_->setInterruptionHandler([handler = errorHandler_] {
    handler(
        {cocoaErrorDomain, connectionInterrupted, "The installer launcher XPC connection was interrupted."});
  });
  connection_->setInvalidationHandler([handler = errorHandler_] {
    handler({cocoaErrorDomain, connectionInvalid, "The installer launcher XPC connection was invalidated."});
  });
}

bool OrvoAppBundleNSXPCInstallerLauncherServiceConnection::launchReplacement(
    const PropertyListDictionary& message, const std::function<void()>& didSubmitRequest,
    std::function<void(const OrvoAppBundleReplacementLaunchResult&)> reply) {
  const auto service = connection_->remoteObjectProxy(errorHandler_);
  if (!service) return false;
  didSubmitRequest();
  service->launchReplacement(message, [decoded = std::move(reply)](const PropertyListDictionary& dictionary) {
    decoded(OrvoAppBundleReplacementLaunchResult::fromXPCDictionary(dictionary));
  });
  return true;
}

std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection>
OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory::makeConnection(
    const std::string& serviceName, std::function<void(const BridgedError&)> errorHandler,
    LaunchProgressHandler progressHandler) {
  auto connection = connections_->connectionToService(serviceName);
  if (!connection) return nullptr;
  return std::make_shared<OrvoAppBundleNSXPCInstallerLauncherServiceConnection>(
      std::move(connection), std::move(errorHandler), std::move(progressHandler));
}

}  // namespace pellam

#include "host/download_client.h"

#include <algorithm>

#include "host/download_delegate.h"
#include "platform/url_session.h"

namespace pellam {

std::optional<double> OrvoUpdateInstallerDownloadProgress::progressFraction() const {
  if (!expectedBytes || *expectedBytes < 1) return std::nullopt;
  return std::clamp(static_cast<double>(bytesReceived) / static_cast<double>(*expectedBytes), 0.0, 1.0);
}

NetworkData OrvoUpdateInstallerNetworkClient::data(const URL& url,
                                                   const DownloadProgressHandler& progressHandler,
                                                   const CancellationToken& cancellation) {
  NetworkData result = data(url, cancellation);
  if (progressHandler) {
    const auto count = static_cast<std::int64_t>(result.body.size());
    const std::optional<std::int64_t> stated = result.response.expectedContentLength;
    progressHandler({count, stated && *stated >= 1 ? *stated : count});
  }
  return result;
}

NetworkData OrvoUpdateURLSessionInstallerNetworkClient::data(const URL& url,
                                                             const CancellationToken& cancellation) {
  return data(url, DownloadProgressHandler(), cancellation);
}

NetworkData OrvoUpdateURLSessionInstallerNetworkClient::data(const URL& url,
                                                             const DownloadProgressHandler& progressHandler,
                                                             const CancellationToken& cancellation) {
  const auto box = std::make_shared<OrvoUpdateURLSessionDownloadTaskBox>();
  const CancellationRegistration registration = cancellation.onCancel([box] { box->cancel(); });
  const auto delegate = std::make_shared<OrvoUpdateURLSessionDownloadDelegate>(progressHandler);
  std::future<NetworkData> continuation = delegate->continuation();
  const std::shared_ptr<URLSession> session = sessions_->makeSession();
  delegate->setSession(session);
  const std::shared_ptr<URLSessionDataTask> task = session->dataTask({url, {}, std::nullopt}, delegate);
  box->setTask(task);
  task->resume();
  return continuation.get();
}

}  // namespace pellam

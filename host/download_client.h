#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "pellam/cancellation.h"
#include "pellam/url.h"
#include "services/network_client.h"

namespace pellam {

class URLSessionMaking;

// How far a download has come. Compared member by member.
struct OrvoUpdateInstallerDownloadProgress {
  std::int64_t bytesReceived = 0;
  std::optional<std::int64_t> expectedBytes;  // absent when the server did not state a length

  // Received over expected, clamped to 0…1; absent when the length is unknown.
  [[nodiscard]] std::optional<double> progressFraction() const;

  friend bool operator==(const OrvoUpdateInstallerDownloadProgress&,
                         const OrvoUpdateInstallerDownloadProgress&) = default;
};

using DownloadProgressHandler = std::function<void(const OrvoUpdateInstallerDownloadProgress&)>;

// Downloads an archive into memory. Both operations block the calling thread (never the main one), return
// whatever status the server answered with, and throw URLLoadingError, with the code cancelled when the token
// was cancelled. No retry.
class OrvoUpdateInstallerNetworkClient {
 public:
  virtual ~OrvoUpdateInstallerNetworkClient() = default;
  [[nodiscard]] virtual NetworkData data(const URL& url, const CancellationToken& cancellation) = 0;
  // The handler is called on a thread of the transfer. For an implementation without incremental progress
  // this default calls it once, at the end.
  [[nodiscard]] virtual NetworkData data(const URL& url, const DownloadProgressHandler& progressHandler,
                                         const CancellationToken& cancellation);
};

// One session per download. The body is held in memory once; progress is reported for the response and for
// every chunk. Stateless; any thread.
class OrvoUpdateURLSessionInstallerNetworkClient final : public OrvoUpdateInstallerNetworkClient {
 public:
  explicit OrvoUpdateURLSessionInstallerNetworkClient(std::shared_ptr<URLSessionMaking> sessions)
      : sessions_(std::move(sessions)) {}
  [[nodiscard]] NetworkData data(const URL& url, const CancellationToken& cancellation) override;
  [[nodiscard]] NetworkData data(const URL& url, const DownloadProgressHandler& progressHandler,
                                 const CancellationToken& cancellation) override;

 private:
  std::shared_ptr<URLSessionMaking> sessions_;
};

}  // namespace pellam

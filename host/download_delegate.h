#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <optional>

#include "foundation/byte_buffer.h"
#include "host/download_client.h"
#include "platform/url_session.h"

namespace pellam {

// Collects the body of one download, reports its progress and wakes its caller exactly once. After it was
// made its fields are used only on the session's thread.
class OrvoUpdateURLSessionDownloadDelegate final : public URLSessionDataDelegate {
 public:
  explicit OrvoUpdateURLSessionDownloadDelegate(DownloadProgressHandler progressHandler)
      : progressHandler_(std::move(progressHandler)) {}

  // The suspended caller's end. Called once.
  [[nodiscard]] std::future<NetworkData> continuation() { return continuation_.get_future(); }
  // Held weakly: the session keeps the delegate, not the other way round.
  void setSession(const std::shared_ptr<URLSession>& session) { session_ = session; }

  void didReceiveResponse(const URLResponse& response) override;
  void didReceiveData(std::span<const std::uint8_t> bytes) override;
  // A second completion has no effect.
  void didComplete(const std::optional<URLLoadingError>& error) override;

 private:
  void reportProgress() const;

  std::weak_ptr<URLSession> session_;
  DownloadProgressHandler progressHandler_;
  std::promise<NetworkData> continuation_;
  ByteBuffer downloadedData_;
  std::optional<URLResponse> response_;
  std::optional<std::int64_t> expectedBytes_;
  bool didResumeContinuation_ = false;
};

// The meeting point of a download's task and its caller's cancellation, whichever comes first. Any thread.
class OrvoUpdateURLSessionDownloadTaskBox {
 public:
  // Keeps the task, or cancels it at once when the download was cancelled before.
  void setTask(std::shared_ptr<URLSessionDataTask> task);
  void cancel();

 private:
  std::mutex lock_;
  std::shared_ptr<URLSessionDataTask> task_;
  bool isCancelled_ = false;
};

}  // namespace pellam

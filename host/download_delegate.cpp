#include "host/download_delegate.h"

#include <utility>

namespace pellam {

namespace {
// A server may state any length; only a plausible one is made room for ahead of the bytes.
constexpr std::int64_t maximumReservation = std::int64_t{4} * 1024 * 1024 * 1024;
}  // namespace

void OrvoUpdateURLSessionDownloadDelegate::didReceiveResponse(const URLResponse& response) {
  response_ = response;
  expectedBytes_.reset();
  if (response.expectedContentLength && *response.expectedContentLength >= 1) {
    expectedBytes_ = response.expectedContentLength;
  }
  if (expectedBytes_ && *expectedBytes_ <= maximumReservation) {
    downloadedData_.reserve(static_cast<std::size_t>(*expectedBytes_));
  }
  reportProgress();
}

void OrvoUpdateURLSessionDownloadDelegate::didReceiveData(std::span<const std::uint8_t> bytes) {
  downloadedData_.append(bytes);
  reportProgress();
}

void OrvoUpdateURLSessionDownloadDelegate::reportProgress() const {
  if (!progressHandler_) return;
  progressHandler_({static_cast<std::int64_t>(downloadedData_.size()), expectedBytes_});
}

void OrvoUpdateURLSessionDownloadDelegate::didComplete(const std::optional<URLLoadingError>& error) {
  if (std::exchange(didResumeContinuation_, true)) return;
  if (const std::shared_ptr<URLSession> session = session_.lock()) session->finishTasksAndInvalidate();
  session_.reset();
  if (error) {
    continuation_.set_exception(std::make_exception_ptr(*error));
  } else if (!response_) {
    continuation_.set_exception(std::make_exception_ptr(
        URLLoadingError(URLLoadingError::Code::badServerResponse, "The server did not send a response.")));
  } else {
    continuation_.set_value({std::move(downloadedData_), *response_});
  }
}

void OrvoUpdateURLSessionDownloadTaskBox::setTask(std::shared_ptr<URLSessionDataTask> task) {
  {
    const std::lock_guard lock(lock_);
    if (!isCancelled_) {
      task_ = std::move(task);
      return;
    }
  }
  task->cancel();
}

void OrvoUpdateURLSessionDownloadTaskBox::cancel() {
  std::shared_ptr<URLSessionDataTask> task;
  {
    const std::lock_guard lock(lock_);
    isCancelled_ = true;
    task = std::exchange(task_, nullptr);
  }
  if (task) task->cancel();
}

}  // namespace pellam

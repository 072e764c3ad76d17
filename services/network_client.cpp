#include "services/network_client.h"

#include <future>
#include <utility>

namespace pellam {

namespace {

// Collects one transfer and hands it to the waiting caller.
class CollectingDelegate final : public URLSessionDataDelegate {
 public:
  [[nodiscard]] std::future<NetworkData> future() { return promise_.get_future(); }

  void didReceiveResponse(const URLResponse& response) override { response_ = response; }
  void didReceiveData(std::span<const std::uint8_t> bytes) override { body_.append(bytes); }
  void didComplete(const std::optional<URLLoadingError>& error) override {
    if (error) {
      promise_.set_exception(std::make_exception_ptr(*error));
    } else if (!response_) {
      promise_.set_exception(std::make_exception_ptr(
          URLLoadingError(URLLoadingError::Code::badServerResponse, "The server did not send a response.")));
    } else {
      promise_.set_value({std::move(body_), *response_});
    }
  }

 private:
  std::promise<NetworkData> promise_;
  std::optional<URLResponse> response_;
  ByteBuffer body_;
};

}  // namespace

NetworkData PellamURLSessionNetworkClient::data(const URLRequest& request,
                                                const CancellationToken& cancellation) {
  const auto delegate = std::make_shared<CollectingDelegate>();
  std::future<NetworkData> result = delegate->future();
  const std::shared_ptr<URLSession> session = sessions_->makeSession();
  const std::shared_ptr<URLSessionDataTask> task = session->dataTask(request, delegate);
  const CancellationRegistration registration = cancellation.onCancel([task] { task->cancel(); });
  task->resume();
  session->finishTasksAndInvalidate();
  return result.get();
}

}  // namespace pellam

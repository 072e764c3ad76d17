#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/loading_refusals.h"
#include "platform/url_session.h"

namespace pellam {

// One HTTP, HTTPS or file transfer through libcurl: created, performed once, forgotten. Redirects are
// followed up to 20 times; certificates are verified; a transfer that stands still for the time-out (60
// seconds unless the request says otherwise) fails.
class Transfer {
 public:
  Transfer(URLRequest request, std::string userAgent, std::shared_ptr<URLSessionDataDelegate> delegate);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer();

  // Blocks until the transfer has ended; calls the delegate on this thread, its completion exactly once.
  void perform();
  // Any thread, at any time. A transfer that has not begun never opens a connection.
  void cancel();

 private:
  struct Handles;
  friend struct TransferCallbacks;

  [[nodiscard]] std::optional<URLLoadingError> run();
  void configure(Handles& handles);
  [[nodiscard]] std::optional<URLLoadingError> finish(int curlResult, const Handles& handles);
  // False to stop the transfer; finish() says why.
  [[nodiscard]] bool headerLine(std::string_view line);
  [[nodiscard]] bool body(const char* bytes, std::size_t size);
  void reportResponse();
  // The address that the exchange on its way goes to, after the redirects so far.
  [[nodiscard]] URL currentAddress() const;
  // Where the library would go for that value of a Location header; nothing when it would not go anywhere.
  [[nodiscard]] std::optional<URL> redirectTarget(std::string_view location) const;
  [[nodiscard]] std::optional<URLLoadingError> refusalOfFile() const;
  [[nodiscard]] bool isCancelled();
  void noticeReceivedBytes();
  // How much longer the transfer may stand still; zero or less when it has done so for too long.
  [[nodiscard]] std::chrono::milliseconds patienceLeft() const;

  URLRequest request_;
  std::string userAgent_;
  std::shared_ptr<URLSessionDataDelegate> delegate_;

  std::mutex mutex_;  // guards the two fields below
  bool cancelled_ = false;
  void* multi_ = nullptr;  // set while the transfer runs, so that cancel can wake it

  // Used by the performing thread only.
  void* easy_ = nullptr;
  std::chrono::steady_clock::time_point lastProgress_;
  std::int64_t received_ = 0;  // bytes of the body that is on its way
  int status_ = 0;
  bool isRedirect_ = false;
  bool responseReported_ = false;
  bool ranOutOfMemory_ = false;
  std::optional<URLLoadingError> refusal_;  // why this transfer was stopped from within
  BodyLimit bodyLimit_;
  std::optional<std::int64_t> statedLength_;
};

}  // namespace pellam

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/bridged_error.h"
#include "foundation/url.h"

namespace pellam {

// One request for an address. Without a time-out the transport's own default applies. A body that is longer
// than the maximum, counted as it is handed on and not as it was compressed on its way, ends the transfer
// with the code dataLengthExceedsMaximum; without one it may have any length.
struct URLRequest {
  URL url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<std::chrono::seconds> timeout;
  std::optional<std::size_t> maximumBodyLength = std::nullopt;  // bytes
};

// What the server said before the body.
struct URLResponse {
  URL url;                                            // after redirects
  std::optional<int> statusCode;                      // absent when the transport is not HTTP
  std::optional<std::int64_t> expectedContentLength;  // bytes, absent when the server did not state it
};

// A failure of the transport, in the domain "NSURLErrorDomain" with the platform's numbers.
class URLLoadingError : public PellamError {
 public:
  enum class Code : int {
    unknown = -1,
    cancelled = -999,
    badURL = -1000,
    timedOut = -1001,
    unsupportedURL = -1002,
    cannotFindHost = -1003,
    cannotConnectToHost = -1004,
    networkConnectionLost = -1005,
    httpTooManyRedirects = -1007,
    notConnectedToInternet = -1009,
    badServerResponse = -1011,
    secureConnectionRequired = -1022,
    fileDoesNotExist = -1100,
    dataLengthExceedsMaximum = -1103,
    secureConnectionFailed = -1200,
    serverCertificateUntrusted = -1202,
  };

  URLLoadingError(Code code, std::string description) : code_(code), description_(std::move(description)) {}
  // A failure that the platform reports in another domain; it is passed on as it is.
  explicit URLLoadingError(BridgedError original)
      : code_(Code::unknown), description_(original.description), original_(std::move(original)) {}
  [[nodiscard]] Code code() const { return code_; }
  [[nodiscard]] BridgedError bridged() const override {
    return original_.value_or(
        BridgedError{"NSURLErrorDomain", static_cast<std::int64_t>(code_), description_});
  }
  [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

 private:
  Code code_;
  std::string description_;
  std::optional<BridgedError> original_;
};

}  // namespace pellam

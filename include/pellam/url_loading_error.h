#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "pellam/bridged_error.h"

namespace [[gnu::visibility("default")]] pellam {

// A failure of the transport, in the domain "NSURLErrorDomain" with the platform's numbers.
//
// For example:
//
//     const URLLoadingError error(URLLoadingError::Code::timedOut, "The server did not answer.");
//     assert(error.bridged() == (BridgedError{"NSURLErrorDomain", -1001, "The server did not answer."}));
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

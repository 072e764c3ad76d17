#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pellam/url.h"
#include "pellam/url_loading_error.h"

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

}  // namespace pellam

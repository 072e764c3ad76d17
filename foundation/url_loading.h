#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pellam/url.h"
#include "pellam/url_loading_error.h"

namespace pellam {

// One request for an address. Without a time-out the transport's own default applies.
struct URLRequest {
  URL url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<std::chrono::seconds> timeout;
};

// What the server said before the body.
struct URLResponse {
  URL url;                                            // after redirects
  std::optional<int> statusCode;                      // absent when the transport is not HTTP
  std::optional<std::int64_t> expectedContentLength;  // bytes, absent when the server did not state it
};

}  // namespace pellam

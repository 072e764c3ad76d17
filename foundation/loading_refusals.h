#pragma once

#include <cstddef>
#include <optional>

#include "foundation/url_loading.h"
#include "pellam/url.h"

namespace pellam {

// What a URL session refuses, on every system alike. Pure; any thread.

// Why an address is not loaded; nothing when it may be. Only https, http and file addresses are, the first
// two with a host: nothing is guessed for an address that does not say so itself. Codes: unsupportedURL,
// badURL.
[[nodiscard]] std::optional<URLLoadingError> addressRefusal(const URL& address);

// Why a redirect is not followed; nothing when it may be. Redirects lead to https and http addresses, and
// what was asked for over https is never fetched over anything else: whoever could answer in the server's
// place there could choose the answer. Codes: those above, and secureConnectionRequired.
[[nodiscard]] std::optional<URLLoadingError> redirectRefusal(const URL& from, const URL& to);

// Holds a body against its request's limit.
class BodyLimit {
 public:
  explicit BodyLimit(std::optional<std::size_t> maximum) : maximum_(maximum) {}
  // Counts bytes that have come. The code dataLengthExceedsMaximum when they are too many: they are not to be
  // handed on, and the transfer is to end.
  [[nodiscard]] std::optional<URLLoadingError> take(std::size_t count);

 private:
  std::optional<std::size_t> maximum_;
  std::size_t taken_ = 0;
};

}  // namespace pellam

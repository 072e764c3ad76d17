#include "foundation/loading_refusals.h"

#include <string>

namespace pellam {

namespace {

using Code = URLLoadingError::Code;

std::string quoted(const URL& address) { return "\"" + address.text() + "\""; }

bool isOfTheWeb(const URL& address) { return address.scheme() == "https" || address.scheme() == "http"; }

}  // namespace

std::optional<URLLoadingError> addressRefusal(const URL& address) {
  if (address.scheme() == "file") return std::nullopt;
  if (!isOfTheWeb(address)) {
    return URLLoadingError(Code::unsupportedURL, quoted(address) + " is no https, http or file address.");
  }
  if (address.host().empty()) return URLLoadingError(Code::badURL, quoted(address) + " names no host.");
  return std::nullopt;
}

std::optional<URLLoadingError> redirectRefusal(const URL& from, const URL& to) {
  if (!isOfTheWeb(to)) {
    return URLLoadingError(Code::unsupportedURL,
                           "The server redirects to " + quoted(to) + ", which is no https or http address.");
  }
  if (from.scheme() == "https" && to.scheme() != "https") {
    return URLLoadingError(Code::secureConnectionRequired,
                           "The server redirects from https to " + quoted(to) + ", which is not secure.");
  }
  return addressRefusal(to);
}

std::optional<URLLoadingError> BodyLimit::take(std::size_t count) {
  if (!maximum_) return std::nullopt;
  if (count > *maximum_ - taken_) {
    return URLLoadingError(Code::dataLengthExceedsMaximum,
                           "The response is longer than " + std::to_string(*maximum_) + " bytes.");
  }
  taken_ += count;
  return std::nullopt;
}

}  // namespace pellam

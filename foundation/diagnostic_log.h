#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "foundation/safe_text.h"

namespace pellam {

// Takes diagnostics, each one line: line breaks in what is written, which may come from a feed, a bundle or a
// path, are escaped on the way. Whoever receives the lines may be called from any thread.
class DiagnosticLog {
 public:
  DiagnosticLog() = default;
  // Anything that can be called with a string.
  template <typename Receiver>
  requires(std::is_invocable_v<Receiver&, const std::string&> &&
           !std::is_same_v<std::remove_cvref_t<Receiver>, DiagnosticLog>)
      DiagnosticLog(Receiver receiver)  // NOLINT(google-explicit-constructor)
      : receiver_(std::move(receiver)) {}

  // Without a receiver nothing happens.
  void operator()(std::string_view line) const {
    if (receiver_) receiver_(escapedLineBreaks(line));
  }

 private:
  std::function<void(const std::string&)> receiver_;
};

}  // namespace pellam

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "foundation/safe_text.h"

namespace pellam {

enum class PellamLogLevel : int { debug = 0, info = 1, warn = 2, error = 3 };

// No level for any value but 0 to 3.
[[nodiscard]] constexpr std::optional<PellamLogLevel> logLevelFromRawValue(int value) {
  if (value < 0 || value > 3) return std::nullopt;
  return static_cast<PellamLogLevel>(value);
}

// Where the system's levelled, categorised messages go. Formatting and filtering are the implementation's
// business. May be called from any thread. A message is a callable, made into text only when it is emitted.
class PellamLogger {
 public:
  using Message = std::function<std::string()>;
  virtual ~PellamLogger() = default;
  virtual void log(const Message& message, PellamLogLevel level, std::string_view category) = 0;

  // Pass the still deferred message on with the level of their name; they add no text of their own.
  void debug(const Message& message, std::string_view category) {
    log(message, PellamLogLevel::debug, category);
  }
  void info(const Message& message, std::string_view category) {
    log(message, PellamLogLevel::info, category);
  }
  void warn(const Message& message, std::string_view category) {
    log(message, PellamLogLevel::warn, category);
  }
  void error(const Message& message, std::string_view category) {
    log(message, PellamLogLevel::error, category);
  }
};

// Emits nothing and never evaluates a message: the default wherever a logger is optional.
class PellamNoopLogger final : public PellamLogger {
 public:
  void log(const Message&, PellamLogLevel, std::string_view) override {}
};

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

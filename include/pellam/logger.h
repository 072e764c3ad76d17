#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] pellam {

enum class PellamLogLevel : int { debug = 0, info = 1, warn = 2, error = 3 };

// No level for any value but 0 to 3.
[[nodiscard]] constexpr std::optional<PellamLogLevel> logLevelFromRawValue(int value) {
  if (value < 0 || value > 3) return std::nullopt;
  return static_cast<PellamLogLevel>(value);
}

// Where the system's levelled, categorised messages go. Formatting and filtering are the implementation's
// business. May be called from any thread. A message is a callable, made into text only when it is emitted.
//
// For example:
//
//     struct ConsoleLog final : PellamLogger {
//       void log(const Message& message, PellamLogLevel level, std::string_view category) override {
//         if (level < PellamLogLevel::warn) return;  // and the message is never made
//         std::fprintf(stderr, "%s: %s\n", std::string(category).c_str(), message().c_str());
//       }
//     };
//     ConsoleLog log;
//     log.debug([]() -> std::string { std::abort(); }, "update");
//     log.warn([] { return std::string("the feed could not be read"); }, "update");
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

}  // namespace pellam

#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

namespace [[gnu::visibility("default")]] pellam {

// Thrown by an operation that ended because its caller cancelled it. Never an installer error.
class OperationCancelled : public std::exception {
 public:
  [[nodiscard]] const char* what() const noexcept override { return "The operation was cancelled."; }
};

namespace cancellation_detail {
class State;
}

// Removes its handler when it goes away; a handler that is running just then is waited for, unless it is the
// handler itself that lets go.
class CancellationRegistration {
 public:
  CancellationRegistration() = default;
  CancellationRegistration(std::shared_ptr<cancellation_detail::State> state, std::uint64_t identifier);
  CancellationRegistration(CancellationRegistration&& other) noexcept;
  CancellationRegistration& operator=(CancellationRegistration&& other) noexcept;
  CancellationRegistration(const CancellationRegistration&) = delete;
  CancellationRegistration& operator=(const CancellationRegistration&) = delete;
  ~CancellationRegistration();

 private:
  void release();
  std::shared_ptr<cancellation_detail::State> state_;
  std::uint64_t identifier_ = 0;
};

// What a cancellable operation receives. Copies share one state; a default-made token is never cancelled.
// Thread-safe.
class CancellationToken {
 public:
  CancellationToken() = default;
  [[nodiscard]] bool isCancelled() const;
  // Throws OperationCancelled once the token is cancelled.
  void throwIfCancelled() const;
  // Calls the handler once: at once on this thread when already cancelled, else later on the cancelling
  // thread.
  [[nodiscard]] CancellationRegistration onCancel(std::function<void()> handler) const;

 private:
  friend class CancellationSource;
  explicit CancellationToken(std::shared_ptr<cancellation_detail::State> state) : state_(std::move(state)) {}
  std::shared_ptr<cancellation_detail::State> state_;
};

// What the caller keeps. Dropping the source cancels nothing. Thread-safe.
//
// For example:
//
//     CancellationSource source;
//     const CancellationToken token = source.token();  // goes to the operation
//     bool hasHeard = false;
//     const CancellationRegistration registration = token.onCancel([&] { hasHeard = true; });
//     source.cancel();
//     assert(token.isCancelled() && hasHeard);
class CancellationSource {
 public:
  CancellationSource();
  [[nodiscard]] CancellationToken token() const { return CancellationToken(state_); }
  // Runs the handlers on this thread, with no lock held. A second call does nothing.
  void cancel();

 private:
  std::shared_ptr<cancellation_detail::State> state_;
};

}  // namespace pellam

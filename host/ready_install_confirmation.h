#pragma once

#include <exception>
#include <functional>
#include <mutex>
#include <optional>

namespace pellam {

// The one-shot meeting point of the waiting installation, its "Install and Relaunch" button and its caller's
// cancellation: the first resolve wins. Any thread; nothing is resumed while the lock is held.
class OrvoUpdateReadyInstallConfirmation {
 public:
  // Null resumes the waiter normally, an exception is thrown there.
  using Continuation = std::function<void(std::exception_ptr)>;

  // Stores the waiter, or resumes it at once with OperationCancelled when the confirmation was resolved
  // before anybody waited (the button is offered only after that, so it can only have been a cancellation).
  void setContinuation(Continuation continuation);
  void resolve(std::exception_ptr result);
  [[nodiscard]] bool isResolved() const;

 private:
  mutable std::mutex lock_;
  std::optional<Continuation> continuation_;
  bool resolved_ = false;
};

}  // namespace pellam

#include "host/ready_install_confirmation.h"

#include <utility>

#include "pellam/cancellation.h"

namespace pellam {

void OrvoUpdateReadyInstallConfirmation::setContinuation(Continuation continuation) {
  {
    const std::lock_guard lock(lock_);
    if (!resolved_) {
      continuation_ = std::move(continuation);
      return;
    }
  }
  continuation(std::make_exception_ptr(OperationCancelled()));
}

void OrvoUpdateReadyInstallConfirmation::resolve(std::exception_ptr result) {
  std::optional<Continuation> waiter;
  {
    const std::lock_guard lock(lock_);
    if (resolved_) return;
    resolved_ = true;
    waiter = std::exchange(continuation_, std::nullopt);
  }
  if (waiter) (*waiter)(std::move(result));
}

bool OrvoUpdateReadyInstallConfirmation::isResolved() const {
  const std::lock_guard lock(lock_);
  return resolved_;
}

}  // namespace pellam

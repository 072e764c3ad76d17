#pragma once

#include <sys/eventfd.h>

#include <cerrno>

#include "pellam/cancellation.h"
#include "platform/linux/jobs/job_description.h"
#include "platform/linux/system/file_descriptor.h"

namespace pellam {

// A token's cancellation as something to poll for: readable once the token is cancelled. Throws PlatformError
// without a descriptor to be had.
class CancellationEvent {
 public:
  explicit CancellationEvent(const CancellationToken& token) : event_(::eventfd(0, EFD_CLOEXEC)) {
    if (!event_.isOpen()) throw jobError(errno, "eventfd");
    registration_ = token.onCancel([event = event_.get()] { (void)::eventfd_write(event, 1); });
  }
  [[nodiscard]] int descriptor() const { return event_.get(); }

 private:
  FileDescriptor event_;
  // Goes first, and waits for a handler that is running.
  CancellationRegistration registration_;
};

}  // namespace pellam

#pragma once

#include <utility>

#include "host/progress_display.h"
#include "pellam/cancellation.h"

namespace pellam {

// "Ready to Install": the last point at which the user decides, asked before the hand-off.
class ReadyToInstallQuestion {
 public:
  explicit ReadyToInstallQuestion(ProgressDisplay display) : display_(std::move(display)) {}

  // Offers the button and waits for it, as long as it takes; without a window nobody is asked. Never on the
  // main thread. Throws OperationCancelled.
  void ask(const ProgressDisplay::Window& window, const CancellationToken& cancellation) const;

 private:
  ProgressDisplay display_;
};

}  // namespace pellam

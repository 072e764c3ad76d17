#pragma once

#import <Foundation/Foundation.h>

#include <exception>

#include "foundation/safe_text.h"
#include "platform/macos/foundation_bridge.h"

namespace pellam::macos {

// Runs what a framework has called back: an error must not unwind through its frames, which cannot catch it,
// and there is nobody who could handle it. It is logged. False when there was one. Exceptions of the
// frameworks themselves pass.
template <typename Work>
bool runGuarded(const Work& work) {
  try {
    work();
    return true;
  } catch (const std::exception& error) {
    NSLog(@"an event handler failed: %@", stringFrom(visibleText(error.what())));
    return false;
  }
}

}  // namespace pellam::macos

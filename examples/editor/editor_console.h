#pragma once

#include "examples/editor/editor_log.h"
#include "pellam/cancellation.h"
#include "platform/bundle_loading.h"

namespace pellam {

// The sample application without windows: checks once, agrees to whatever is offered, and lingers for
// "EditorLingerSeconds" of its Info.plist, or until it is cancelled. The calling thread is its main thread.
// Throws InstalledApplicationError.
void runEditorWithoutWindows(const Bundle& bundle, EditorLog& log, const CancellationToken& cancellation);

}  // namespace pellam

#pragma once

#include "examples/editor/editor_log.h"
#include "pellam/cancellation.h"
#include "platform/bundle_loading.h"

namespace pellam {

// The sample application with windows: a document, a menu with "Check for Updates…", and the standard updater
// over the feed of its Info.plist ("PellamFeedURL", and "PellamManualUpdateURL" where users can download by
// hand). Returns when the document is closed, when the updater's helper waits for the application's end, or
// when it is cancelled. Call it on the main thread. Throws DisplayUnavailable and InstalledApplicationError.
void runEditorWithWindows(const Bundle& bundle, const BundleLoading& bundles, EditorLog& log,
                          const CancellationToken& cancellation);

}  // namespace pellam

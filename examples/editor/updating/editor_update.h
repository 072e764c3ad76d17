#pragma once

#include "examples/editor/updating/logged_progress.h"
#include "pellam/cancellation.h"
#include "pellam/update_host.h"
#include "pellam/url.h"

namespace pellam {

// The sample application's glue: what a host does to keep itself current, and all that it needs of the tree
// is its public headers. Checks the feed and installs what
// it offers. Blocks; not on the main thread. True when the installer has taken over and the application has
// to end. Never throws: what goes wrong is in the log.
[[nodiscard]] bool updateIfOffered(UpdateHost& host, const URL& feed, const LineLog& log,
                                   const CancellationToken& cancellation);

}  // namespace pellam

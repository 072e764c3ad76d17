#pragma once

#include <gtk/gtk.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "platform/child_process.h"
#include "platform/window_toolkit.h"

namespace pellam {

// A page from the web in a view that keeps nothing and can do nothing but be read: its own ephemeral session,
// no cache, no scripts, no windows, downloads, permissions or dialogs of its own, its processes in the
// system's sandbox. A page that fails, or is not there in time, leaves what there was of it; nothing is
// reported.
[[nodiscard]] GtkWidget* makeReleaseNotesView(
    const std::optional<URL>& page, std::chrono::milliseconds timeout, const std::string& accessibleName,
    std::function<NavigationPolicy(const NavigationAction&)> decidePolicy);

// Whether the system can confine a web view. Without that the web view would end this whole process. Starts a
// child; takes some milliseconds.
[[nodiscard]] bool canConfineWebContent(ChildProcessRunning& childProcesses);

}  // namespace pellam

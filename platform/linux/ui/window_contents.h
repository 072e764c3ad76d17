#pragma once

#include <gtk/gtk.h>

#include <filesystem>

#include "platform/window_toolkit.h"

namespace pellam {

// Fills a window's empty content with the update prompt. `resources` is where the logo is looked for;
// `isWebContentAllowed` decides between the web view and the button that opens the notes elsewhere.
void fillWithPrompt(GtkWidget* contentView, const UpdatePromptContent& content,
                    const std::filesystem::path& resources, bool isWebContentAllowed);

// Fills a window's empty content with the rows of the progress window.
void fillWithProgress(GtkWidget* contentView, const ProgressContent& content);

}  // namespace pellam

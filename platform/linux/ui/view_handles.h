#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/view.h"

namespace pellam {

// The handle for a widget, of the class that its kind calls for.
[[nodiscard]] std::shared_ptr<View> makeViewHandle(GtkWidget* widget);

// The widget behind a handle of this system; nothing for a view of another toolkit.
[[nodiscard]] GtkWidget* widgetOf(View& view);

// Widgets that the handles above know how to drive. Each is returned floating, as the toolkit does it.
[[nodiscard]] GtkWidget* makeLineLabel(const std::string& text, const char* styleClass);
// A wrapping, selectable text that never grows a window beyond reason: a very long one scrolls in its place.
[[nodiscard]] GtkWidget* makeParagraph(const std::string& text, const char* styleClass, int maximumWidth);
[[nodiscard]] GtkWidget* makePushButton(const std::string& title, std::function<void()> action);
[[nodiscard]] GtkWidget* makeProgressBar();
// Makes a button that is in its window already the one that answers to Return, and gives it the focus.
// (Outside of the window this would make assistive technology take the window for an ordinary widget.)
void makeDefaultButton(GtkWidget* button);

}  // namespace pellam

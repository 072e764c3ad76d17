#include "platform/linux/ui/display_connection.h"

#include <gtk/gtk.h>

#include <cstdlib>
#include <string>

#include "platform/window_toolkit.h"

namespace pellam {

namespace {

// Sizes are parts of the system's own font size, which stands for 13 points: who has chosen larger letters
// gets them here, too.
constexpr const char* styleSheet = R"css(
.pellam-headline { font-weight: bold; font-size: 100%; }
.pellam-sentence { font-size: 92%; }
.pellam-caption { font-weight: bold; font-size: 85%; }
.pellam-title { font-weight: 600; font-size: 100%; }
.pellam-status { font-size: 85%; font-feature-settings: "tnum"; opacity: 0.7; }
.pellam-notes { border-radius: 0; border: 1px solid alpha(currentColor, 0.25); padding: 0; }
.pellam-message { font-weight: bold; }
.pellam-informative { font-size: 92%; }
progressbar.pellam-bar > trough,
progressbar.pellam-bar > trough > progress { border-radius: 8px; min-height: 14px; }
)css";

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void addStyles() {
  GtkCssProvider* provider = gtk_css_provider_new();
  gtk_css_provider_load_from_data(provider, styleSheet, -1);
  gtk_style_context_add_provider_for_display(gdk_display_get_default(), GTK_STYLE_PROVIDER(provider),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  g_object_unref(provider);
}

}  // namespace

void connectToDisplay() {
  static bool isConnected = false;
  if (isConnected) return;
  if (gtk_init_check() == FALSE || gdk_display_get_default() == nullptr) {
    const std::string wayland = variable("WAYLAND_DISPLAY");
    const std::string display = wayland.empty() ? variable("DISPLAY") : wayland;
    throw DisplayUnavailable(display.empty() ? "no display is set"
                                             : "cannot open the display \"" + display + "\"");
  }
  addStyles();
  isConnected = true;
}

}  // namespace pellam

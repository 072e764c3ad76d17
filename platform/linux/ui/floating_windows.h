#pragma once

#include <gtk/gtk.h>

namespace pellam {

// Hides an application's floating windows while none of its windows is active, and brings them back when one
// is again. They stay when the application shows no other window: nothing could bring them back. One object
// for each toolkit; main thread.
class FloatingWindows {
 public:
  FloatingWindows();
  FloatingWindows(const FloatingWindows&) = delete;
  FloatingWindows& operator=(const FloatingWindows&) = delete;
  ~FloatingWindows();

  // The window floats from now on, for as long as it exists.
  void add(GtkWindow* window);
  // Whether one of the application's windows is active, or was a moment ago: between two of them the focus is
  // nowhere.
  [[nodiscard]] bool isApplicationActive() const;

 private:
  static void watchNewWindows(GListModel* windows, guint position, guint removed, guint added,
                              FloatingWindows* self);
  static void activityChanged(GtkWindow* window, GParamSpec* property, FloatingWindows* self);
  static gboolean settle(gpointer self);
  void watch(GtkWindow* window);
  void hideAll();
  void showAll();

  guint settling_ = 0;
  gint64 lastActive_ = 0;  // in microseconds; when a window was last seen to be active, or ceased to be
};

}  // namespace pellam

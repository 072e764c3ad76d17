#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/linux/ui/floating_windows.h"
#include "platform/linux/ui/gtk_object.h"
#include "platform/window_toolkit.h"

namespace pellam {

// Return presses the window's default button, wherever the focus is, unless it is on a button: that one is
// then meant.
void answerReturnWithDefaultButton(GtkWindow* window);

// One window of this system. No larger than the monitor, whatever is asked for.
class SystemWindow final : public Window {
 public:
  SystemWindow(const WindowDescription& description, std::shared_ptr<FloatingWindows> floatingWindows);
  SystemWindow(const SystemWindow&) = delete;
  SystemWindow& operator=(const SystemWindow&) = delete;
  ~SystemWindow() override;

  [[nodiscard]] std::string title() const override { return title_; }
  [[nodiscard]] std::shared_ptr<View> contentView() override;
  void setWillCloseHandler(std::function<void()> handler) override { willClose_ = std::move(handler); }
  void center() override;
  void makeKeyAndOrderFront() override;
  void performClose() override;
  void close() override;

 private:
  static gboolean closeRequested(GtkWindow* window, SystemWindow* self);
  static void mapped(GtkWidget* window, SystemWindow* self);
  static void realized(GtkWidget* window, SystemWindow* self);
  static void stateChanged(GdkToplevel* surface, GParamSpec* property, SystemWindow* self);
  void forgetSurface();
  void destroy();

  std::shared_ptr<FloatingWindows> floatingWindows_;
  std::string title_;
  bool isClosable_;
  bool isCenteringDue_ = false;
  bool isClosed_ = false;
  ObjectReference<GtkWindow> window_;
  ObjectReference<GdkSurface> surface_;  // watched while the window must not be minimized
  GtkWidget* content_ = nullptr;         // the window's
  std::function<void()> willClose_;
};

}  // namespace pellam

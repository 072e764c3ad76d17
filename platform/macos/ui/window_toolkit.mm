#include "platform/window_toolkit.h"

#import <AppKit/AppKit.h>

#include "platform/macos/ui/alerts.h"
#include "platform/macos/ui/display_session.h"
#include "platform/macos/ui/system_window.h"
#include "platform/macos/ui/view_handles.h"
#include "platform/macos/ui/window_contents.h"

namespace pellam {

namespace {

class SystemWindowToolkit final : public WindowToolkit {
 public:
  std::shared_ptr<Window> makeWindow(const WindowDescription& description) override {
    return macos::makeSystemWindow(description);
  }
  void buildPromptContent(View& contentView, UpdatePromptContent content) override {
    if (NSView* view = macos::viewBehind(contentView)) macos::addPromptContent(view, content);
  }
  void buildProgressContent(View& contentView, const ProgressContent& content) override {
    if (NSView* view = macos::viewBehind(contentView)) macos::addProgressContent(view, content);
  }

  AlertAnswer runModal(const AlertDescription& description) override { return macos::runAlert(description); }

  void requestUserAttention() override {
    (void)[NSApplication.sharedApplication requestUserAttention:NSInformationalRequest];
  }
};

}  // namespace

std::shared_ptr<WindowToolkit> makeSystemWindowToolkit(const BundleLoading&,
                                                       std::shared_ptr<ChildProcessRunning>) {
  macos::connectToDisplay();
  return std::make_shared<SystemWindowToolkit>();
}

}  // namespace pellam

#include "platform/workspace.h"

#import <AppKit/AppKit.h>

#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

class SystemWorkspace final : public Workspace {
 public:
  bool open(const std::filesystem::path& file) override {
    return [NSWorkspace.sharedWorkspace openURL:macos::fileURL(file)] == YES;
  }
  bool open(const URL& url) override {
    NSURL* address = [NSURL URLWithString:macos::stringFrom(url.text())];
    return address != nil && [NSWorkspace.sharedWorkspace openURL:address] == YES;
  }
};

}  // namespace

// The workspace finds executables by itself.
std::shared_ptr<Workspace> makeSystemWorkspace(std::shared_ptr<FileSystem>, std::shared_ptr<BundleLoading>) {
  return std::make_shared<SystemWorkspace>();
}

}  // namespace pellam

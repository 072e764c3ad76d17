#pragma once

#include <filesystem>
#include <memory>

#include "pellam/url.h"

namespace pellam {

class BundleLoading;
class FileSystem;

// The user's desktop. Any thread.
class Workspace {
 public:
  virtual ~Workspace() = default;
  // Opens an application bundle (a new process of its own, which outlives this one) or a file with the
  // application that the system associates with it. True when the start was accepted; the call does not wait
  // for the application.
  [[nodiscard]] virtual bool open(const std::filesystem::path& file) = 0;
  // Opens an address in the user's browser.
  [[nodiscard]] virtual bool open(const URL& url) = 0;
};

[[nodiscard]] std::shared_ptr<Workspace> makeSystemWorkspace(std::shared_ptr<FileSystem> fileSystem,
                                                             std::shared_ptr<BundleLoading> bundles);

}  // namespace pellam

#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"

namespace pellam {

// Brings the content of an archive into a folder that earlier archives were unpacked into, although whoever
// unpacks refuses names that exist. The new content is made in a hidden folder of its own inside that folder;
// then what has the same names is moved aside and the new items take their places, each by one rename. Other
// items stay. An exchange that fails or is never made leaves the folder as it was.
//
// The hidden folder goes with the object. One that a killed process left behind blocks nobody; the first
// exchange in the folder that begins ten minutes later removes it. One thread at a time; blocks.
class SharedFolderExchange {
 public:
  struct Collaborators {
    std::shared_ptr<FileSystem> fileManager;
    std::shared_ptr<UUIDGenerating> identifiers;
    std::shared_ptr<PellamClock> clock;
  };

  // Makes the hidden folder, which nobody else can enter. Throws std::system_error.
  SharedFolderExchange(Collaborators collaborators, std::filesystem::path sharedFolder);
  SharedFolderExchange(const SharedFolderExchange&) = delete;
  SharedFolderExchange& operator=(const SharedFolderExchange&) = delete;
  ~SharedFolderExchange();

  // The empty folder for the new content.
  [[nodiscard]] const std::filesystem::path& newContent() const { return newContent_; }

  // Once. Throws std::system_error when an item cannot be moved; those moved before are back in their places
  // then. What cannot be moved back, either, stays in the hidden folder, and the folder with it.
  void bringIn();

 private:
  void removeLeftovers() const;
  void removeQuietly(const std::filesystem::path& item) const;
  void moveAside(const std::string& name);
  void undo();

  Collaborators parts_;
  std::filesystem::path sharedFolder_;
  std::filesystem::path hiddenFolder_;
  std::filesystem::path newContent_;
  std::filesystem::path oldContent_;
  std::vector<std::string> departed_;
  std::vector<std::string> arrived_;
  bool holdsWhatIsNeeded_ = false;
};

}  // namespace pellam

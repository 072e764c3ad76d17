#include "host/shared_folder_exchange.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "foundation/uuid.h"
#include "host/attempt_folders.h"

namespace pellam {

namespace {
constexpr const char* hiddenPrefix = ".unpacking-";
}

SharedFolderExchange::SharedFolderExchange(Collaborators collaborators, std::filesystem::path sharedFolder)
    : parts_(std::move(collaborators)),
      sharedFolder_(std::move(sharedFolder)),
      hiddenFolder_(sharedFolder_ / (hiddenPrefix + parts_.identifiers->makeUUID())),
      newContent_(hiddenFolder_ / "new"),
      oldContent_(hiddenFolder_ / "old") {
  removeLeftovers();
  parts_.fileManager->createPrivateDirectory(hiddenFolder_);
  try {
    parts_.fileManager->createDirectory(newContent_);
    parts_.fileManager->createDirectory(oldContent_);
  } catch (...) {
    removeQuietly(hiddenFolder_);
    throw;
  }
}

SharedFolderExchange::~SharedFolderExchange() {
  if (!holdsWhatIsNeeded_) removeQuietly(hiddenFolder_);
}

void SharedFolderExchange::bringIn() {
  try {
    for (const std::filesystem::path& item :
         parts_.fileManager->contentsOfDirectory(newContent_, HiddenItems::included)) {
      const std::string name = item.filename().string();
      moveAside(name);
      parts_.fileManager->moveItem(item, sharedFolder_ / name);
      arrived_.push_back(name);
    }
  } catch (...) {
    undo();
    throw;
  }
}

// Tried rather than asked for: only a move knows of a dangling link, too.
void SharedFolderExchange::moveAside(const std::string& name) {
  try {
    parts_.fileManager->moveItem(sharedFolder_ / name, oldContent_ / name);
  } catch (const std::system_error& error) {
    if (error.code().value() == ENOENT) return;
    throw;
  }
  departed_.push_back(name);
}

void SharedFolderExchange::undo() {
  const auto moveBack = [this](const std::string& name, const std::filesystem::path& from,
                               const std::filesystem::path& to) {
    try {
      parts_.fileManager->moveItem(from / name, to / name);
    } catch (const std::exception&) {
      holdsWhatIsNeeded_ = true;
    }
  };
  for (const std::string& name : arrived_) moveBack(name, sharedFolder_, newContent_);
  for (const std::string& name : departed_) moveBack(name, oldContent_, sharedFolder_);
}

void SharedFolderExchange::removeLeftovers() const {
  const Date cutoff = parts_.clock->now() - AttemptFolders::staleAge;
  try {
    for (const std::filesystem::path& entry :
         parts_.fileManager->contentsOfDirectory(sharedFolder_, HiddenItems::included)) {
      const std::string name = entry.filename().string();
      if (!name.starts_with(hiddenPrefix) || !isUUID(name.substr(std::string(hiddenPrefix).size()))) continue;
      const FileAttributes attributes = parts_.fileManager->attributes(entry);
      const std::optional<Date> date =
          attributes.creationDate ? attributes.creationDate : attributes.modificationDate;
      if (attributes.type == FileType::directory && date && *date <= cutoff) removeQuietly(entry);
    }
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): what is left behind blocks nobody
  }
}

void SharedFolderExchange::removeQuietly(const std::filesystem::path& item) const {
  try {
    parts_.fileManager->removeItem(item);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the next exchange tries again
  }
}

}  // namespace pellam

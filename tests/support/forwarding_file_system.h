#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/file_system.h"

namespace pellam::testing_support {

// The real disk. Tests override the operations that they watch or break.
class ForwardingFileSystem : public FileSystem {
 public:
  using Path = std::filesystem::path;

  bool itemExists(const Path& path, bool* isDirectory) const override {
    return real_->itemExists(path, isDirectory);
  }
  bool isExecutableFile(const Path& path) const override { return real_->isExecutableFile(path); }
  FileAttributes attributes(const Path& path) const override { return real_->attributes(path); }
  ByteBuffer readFile(const Path& path) const override { return real_->readFile(path); }
  void writeFile(const Path& path, std::span<const std::uint8_t> bytes) override {
    real_->writeFile(path, bytes);
  }
  void writeFileAtomically(const Path& path, std::span<const std::uint8_t> bytes) override {
    real_->writeFileAtomically(path, bytes);
  }
  void createDirectory(const Path& path) override { real_->createDirectory(path); }
  void createPrivateDirectory(const Path& path) override { real_->createPrivateDirectory(path); }
  void removeItem(const Path& path) override { real_->removeItem(path); }
  void moveItem(const Path& source, const Path& destination) override {
    real_->moveItem(source, destination);
  }
  void copyItem(const Path& source, const Path& destination) override {
    real_->copyItem(source, destination);
  }
  void renameItem(const Path& source, const Path& destination) override {
    real_->renameItem(source, destination);
  }
  bool exchangeItems(const Path& first, const Path& second) override {
    return real_->exchangeItems(first, second);
  }
  std::vector<Path> contentsOfDirectory(const Path& path, HiddenItems hiddenItems) const override {
    return real_->contentsOfDirectory(path, hiddenItems);
  }
  void enumerate(const Path& path, EnumerationOptions options,
                 const std::function<EnumerationStep(const Path&)>& visitor) const override {
    real_->enumerate(path, options, visitor);
  }
  Path resolvingSymlinks(const Path& path) const override { return real_->resolvingSymlinks(path); }
  int removeQuarantineAttribute(const Path& path) override { return real_->removeQuarantineAttribute(path); }
  void changeOwner(const Path& path, std::uint32_t owner, std::uint32_t group) override {
    real_->changeOwner(path, owner, group);
  }
  void withdrawSharedWriting(const Path& path) override { real_->withdrawSharedWriting(path); }
  void synchronizeDirectory(const Path& path) override { real_->synchronizeDirectory(path); }
  void synchronizeName(const Path& path) override { real_->synchronizeName(path); }
  void synchronizeVolume(const Path& path) override { real_->synchronizeVolume(path); }
  std::unique_ptr<FolderLock> lockFolder(const Path& path, FolderUse use) override {
    return real_->lockFolder(path, use);
  }
  Path temporaryDirectory() const override { return real_->temporaryDirectory(); }
  std::optional<Path> applicationSupportDirectory() const override {
    return real_->applicationSupportDirectory();
  }

 private:
  std::shared_ptr<FileSystem> real_ = makeSystemFileSystem();
};

}  // namespace pellam::testing_support

#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "platform/file_system.h"
#include "platform/identifiers.h"
#include "platform/process_information.h"

namespace pellam {

// Can this process write into the folder that holds the destination?
class OrvoAppBundleReplacementPermissionChecking {
 public:
  virtual ~OrvoAppBundleReplacementPermissionChecking() = default;
  [[nodiscard]] virtual bool destinationParentIsWritable(const std::filesystem::path& destination) = 0;
};

// May this process replace a destination that the user cannot write?
class OrvoAppBundleReplacementPrivilegeChecking {
 public:
  virtual ~OrvoAppBundleReplacementPrivilegeChecking() = default;
  [[nodiscard]] virtual bool processCanReplaceNonWritableDestination() = 0;
};

// Can this process give files the installed bundle's owner and group, and giving them.
class OrvoAppBundleReplacementOwnershipMatching {
 public:
  virtual ~OrvoAppBundleReplacementOwnershipMatching() = default;
  // Tries it on a file of its own in the temporary folder, which is removed again. Never throws.
  [[nodiscard]] virtual bool processCanMatchInstalledOwnership(const std::filesystem::path& installed) = 0;
  // Gives the root, and when it is a folder everything inside it, the target's owner and group; symbolic
  // links get theirs changed and are never followed. Throws OrvoUpdateInstallerError replacementFailed; what
  // was changed until then stays changed.
  virtual void matchOwnerAndGroupOfItem(const std::filesystem::path& root,
                                        const std::filesystem::path& target) = 0;
};

// Answers by writing an empty file, which is removed again.
class OrvoAppBundleReplacementWriteProbe final : public OrvoAppBundleReplacementPermissionChecking {
 public:
  OrvoAppBundleReplacementWriteProbe(std::shared_ptr<FileSystem> fileSystem,
                                     std::shared_ptr<UUIDGenerating> identifiers)
      : fileSystem_(std::move(fileSystem)), identifiers_(std::move(identifiers)) {}
  [[nodiscard]] bool destinationParentIsWritable(const std::filesystem::path& destination) override;

 private:
  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<UUIDGenerating> identifiers_;
};

// True exactly when the effective user is root.
class OrvoAppBundleReplacementProcessPrivilegeChecker final
    : public OrvoAppBundleReplacementPrivilegeChecking {
 public:
  explicit OrvoAppBundleReplacementProcessPrivilegeChecker(std::shared_ptr<ProcessInformation> process)
      : process_(std::move(process)) {}
  [[nodiscard]] bool processCanReplaceNonWritableDestination() override;

 private:
  std::shared_ptr<ProcessInformation> process_;
};

class OrvoAppBundleReplacementOwnershipMatcher final : public OrvoAppBundleReplacementOwnershipMatching {
 public:
  OrvoAppBundleReplacementOwnershipMatcher(std::shared_ptr<FileSystem> fileSystem,
                                           std::shared_ptr<UUIDGenerating> identifiers)
      : fileSystem_(std::move(fileSystem)), identifiers_(std::move(identifiers)) {}
  [[nodiscard]] bool processCanMatchInstalledOwnership(const std::filesystem::path& installed) override;
  void matchOwnerAndGroupOfItem(const std::filesystem::path& root,
                                const std::filesystem::path& target) override;

 private:
  void changeOwnerAndGroup(const std::filesystem::path& item, std::uint32_t ownerID, std::uint32_t groupID);

  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<UUIDGenerating> identifiers_;
};

// Those of the two that are absent: the write probe and the ownership matcher.
void provideReplacementChecks(std::shared_ptr<OrvoAppBundleReplacementPermissionChecking>& permissionChecker,
                              std::shared_ptr<OrvoAppBundleReplacementOwnershipMatching>& ownershipMatcher,
                              const std::shared_ptr<FileSystem>& fileSystem,
                              const std::shared_ptr<UUIDGenerating>& identifiers);

}  // namespace pellam

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "foundation/hidden_name.h"
#include "foundation/uuid.h"

namespace pellam {

// Every name that a replacement gives to something of its own. Each ends in a UUID in its canonical form, so
// that nothing of anybody else's is ever called so; foundation/hidden_name.h makes the names of what is being
// written or removed.
namespace own_names {
inline constexpr std::string_view backupInfix = ".orvo-update-backup-";
// Shorter than a backup's, so that whatever can have a backup can have this.
inline constexpr std::string_view incomingInfix = ".orvo-update-new-";
inline constexpr std::string_view writeProbePrefix = "orvo-update-write-";
inline constexpr std::string_view writeProbeSuffix = ".tmp";
inline constexpr std::string_view ownershipProbePrefix = "OrvoAppBundleOwnershipMatcher-";

// "Editor.app.orvo-update-backup-<UUID>", visible: what a user may put back by hand.
[[nodiscard]] inline std::string backup(const std::filesystem::path& application, const std::string& uuid) {
  return application.filename().string().append(backupInfix).append(uuid);
}
// ".Editor.app.orvo-update-new-<UUID>", hidden: a bundle on its way into its place, or out of it.
[[nodiscard]] inline std::string incoming(const std::filesystem::path& application, const std::string& uuid) {
  return ("." + application.filename().string()).append(incomingInfix).append(uuid);
}
[[nodiscard]] inline std::string writeProbe(const std::string& uuid) {
  return std::string(writeProbePrefix).append(uuid).append(writeProbeSuffix);
}
[[nodiscard]] inline std::string ownershipProbe(const std::string& uuid) {
  return std::string(ownershipProbePrefix).append(uuid);
}

// What the names beside one application say.
class Beside {
 public:
  explicit Beside(const std::filesystem::path& application)
      : name_(application.filename().string()),
        backup_(own_names::backup(application, "")),
        incoming_(own_names::incoming(application, "")) {}

  [[nodiscard]] bool isBackup(std::string_view name) const { return isNumbered(name, backup_); }
  [[nodiscard]] bool isIncoming(std::string_view name) const { return isNumbered(name, incoming_); }
  // Either, the application itself, or the beginning of a name that was cut: what a hidden name may hold.
  [[nodiscard]] bool isOwn(std::string_view name) const {
    return name == name_ || isBackup(name) || isIncoming(name) || isCut(name, backup_) ||
           isCut(name, incoming_);
  }

 private:
  static bool isNumbered(std::string_view name, std::string_view prefix) {
    return name.starts_with(prefix) && isUUID(name.substr(prefix.size()));
  }
  // Long enough to be this application's and no other's.
  static bool isCut(std::string_view name, std::string_view prefix) {
    return name.size() + 4 > maximumHiddenNameBytes && (prefix.starts_with(name) || name.starts_with(prefix));
  }

  std::string name_;
  std::string backup_;
  std::string incoming_;
};
}  // namespace own_names

}  // namespace pellam

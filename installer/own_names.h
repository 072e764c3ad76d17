#pragma once

#include <filesystem>
#include <string>
#include <string_view>

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
}  // namespace own_names

}  // namespace pellam

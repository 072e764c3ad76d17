#pragma once

#include <string_view>

namespace [[gnu::visibility("default")]] pellam {

class Calendar;

// The keys of a feed entry. All values are strings (`interval` may be a number); a value of another type
// counts as absent, so a boolean is never "1". docs/feed-format.md tells what each key means.
//
// For example:
//
//     assert(OrvoUpdateFeedKeys::appBundleInstallerURL == "app-installer");
struct OrvoUpdateFeedKeys {
  OrvoUpdateFeedKeys() = delete;

  static constexpr std::string_view type = "type";
  static constexpr std::string_view updateType = "update";  // the value of `type` that is evaluated
  static constexpr std::string_view version = "version";
  static constexpr std::string_view feedVersionID = "version";  // the same key where it identifies the entry
  static constexpr std::string_view sku = "sku";
  static constexpr std::string_view language = "lang";
  static constexpr std::string_view os = "os";
  static constexpr std::string_view currentVersion = "current";
  static constexpr std::string_view currentBuild = "currentbuild";
  static constexpr std::string_view mustUpdate = "mustupdate";
  static constexpr std::string_view important = "important";
  static constexpr std::string_view releaseDate = "releasedate";
  static constexpr std::string_view uid = "id";
  static constexpr std::string_view interval = "interval";
  static constexpr std::string_view url = "url";
  static constexpr std::string_view size = "size";
  static constexpr std::string_view title = "title";
  static constexpr std::string_view installerURL = "installer";
  static constexpr std::string_view appBundleInstallerURL = "app-installer";
  static constexpr std::string_view installerName = "installer-name";

  // For the system's own readers: what reads `releaseDate`, and nothing else does: parseDay of a calendar in
  // the system time zone, made anew for each reading.
  [[nodiscard]] static Calendar releaseDateFormatter();
};

}  // namespace pellam

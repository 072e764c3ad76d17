#pragma once

#include <filesystem>

namespace [[gnu::visibility("default")]] pellam {

// How an installation came to its end in the application that started it. A value.
//
// For example:
//
//     const InstallResult result{InstallResult::Outcome::handedOver, "/opt/Editor.app", {}};
//     if (result.outcome == InstallResult::Outcome::handedOver) {
//       // end the application: the installer waits for exactly this, two minutes at most
//     }
//     assert(result.path == "/opt/Editor.app");
struct InstallResult {
  enum class Outcome {
    handedOver,       // the installer replaces the application as soon as it has ended
    installerOpened,  // the user has an installer in front of him; the application goes on
  };

  Outcome outcome = Outcome::handedOver;
  std::filesystem::path path;          // the bundle that is replaced, or the installer that was opened
  std::filesystem::path stagedBundle;  // handedOver: the new bundle, in the folder that the installer removes

  friend bool operator==(const InstallResult&, const InstallResult&) = default;
};

}  // namespace pellam

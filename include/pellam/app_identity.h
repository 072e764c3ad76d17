#pragma once

#include <string>

namespace [[gnu::visibility("default")]] pellam {

// Who the running application is. No field is validated; compared field by field.
//
// For example:
//
//     const PellamAppIdentity editor{"Editor", "com.example.editor", "2.4.1", "241"};
//     assert(editor.versionString == "2.4.1");
struct PellamAppIdentity {
  std::string displayName;  // the user-visible name
  std::string bundleIdentifier;
  std::string versionString;      // the marketing version, for example 2.4.1
  std::string buildNumberString;  // the build number as text

  friend bool operator==(const PellamAppIdentity&, const PellamAppIdentity&) = default;
};

}  // namespace pellam

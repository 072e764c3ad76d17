#pragma once

#include <exception>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "foundation/safe_text.h"

namespace pellam::codesign {

// Why a bundle is refused. The texts are the platform tool's own, for people and for scripts that know them.
namespace reason {
inline constexpr const char* notFound = "No such file or directory";
inline constexpr const char* notABundle = "bundle format unrecognized, invalid, or unsuitable";
inline constexpr const char* notSigned = "code object is not signed at all";
inline constexpr const char* invalidSignature = "invalid signature (code or signature have been modified)";
inline constexpr const char* invalidInfoPlist = "invalid Info.plist (plist or signature have been modified)";
inline constexpr const char* noResources =
    "code has no resources but signature indicates they must be present";
inline constexpr const char* invalidResourceDirectory =
    "invalid resource directory (directory or signature have been modified)";
inline constexpr const char* badResource = "a sealed resource is missing or invalid";
inline constexpr const char* badNestedCode = "nested code is modified or invalid";
inline constexpr const char* unsealedRoot = "unsealed contents present in the bundle root";
inline constexpr const char* invalidLink = "invalid destination for symbolic link in bundle";
inline constexpr const char* teamMismatch = "the team identifier is not the signing certificate's";
inline constexpr const char* requirementFailed = "does not satisfy its designated Requirement";
inline constexpr const char* notTrusted = "CSSMERR_TP_NOT_TRUSTED";
inline constexpr const char* expired = "CSSMERR_TP_CERT_EXPIRED";
inline constexpr const char* notYetValid = "CSSMERR_TP_CERT_NOT_VALID_YET";
inline constexpr const char* tooLarge = "the bundle has more files or deeper folders than can be sealed";
}  // namespace reason

// A bundle or an identity that cannot be signed, read or trusted: the path, the reason on one line, and lines
// that say what exactly ("file added: ...").
class CodeSigningError : public std::exception {
 public:
  CodeSigningError(std::filesystem::path path, std::string reason, std::vector<std::string> details = {})
      : path_(std::move(path)), reason_(std::move(reason)), details_(std::move(details)) {}

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] const std::string& reason() const { return reason_; }
  [[nodiscard]] const std::vector<std::string>& details() const { return details_; }
  [[nodiscard]] const char* what() const noexcept override { return reason_.c_str(); }

 private:
  std::filesystem::path path_;
  std::string reason_;
  std::vector<std::string> details_;
};

// Nothing that a bundle contains can add a line to an output, whatever its reader takes for the end of one.
[[nodiscard]] inline std::string printable(const std::string& text) { return visibleText(text); }

}  // namespace pellam::codesign

#include "host/installed_application.h"

#include "foundation/decimal.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

std::optional<std::string> readTeamIdentifier(const std::filesystem::path& path,
                                              ChildProcessRunning& signingTool) {
  const ChildProcessResult result =
      signingTool.run("/usr/bin/codesign", {"-dv", "--verbose=4", path.string()});
  // A tool that cannot run says nothing about the signature; without its word the team would go unchecked.
  if (result.launchError) {
    throw InstalledApplicationError("the application's signing tool cannot be run: " +
                                    result.launchError->description);
  }
  if (result.terminationStatus != 0) return std::nullopt;
  constexpr std::string_view key = "TeamIdentifier=";
  for (std::string_view line : text::lines(result.output)) {
    if (!line.starts_with(key)) continue;
    line.remove_prefix(key.size());
    if (line.empty() || line == "not set") return std::nullopt;
    return std::string(line);
  }
  return std::nullopt;
}

}  // namespace

std::filesystem::path InstalledApplication::helperExecutable() const {
  return path / "Contents/MacOS" / OrvoAppBundleUpdateHelperIdentity::executableName;
}

OrvoAppBundleUpdateHostIdentity InstalledApplication::hostIdentity() const {
  return {identity.bundleIdentifier, identity.versionString, build, teamIdentifier, false};
}

InstalledApplication readInstalledApplication(const std::filesystem::path& path, const BundleLoading& bundles,
                                              ChildProcessRunning& signingTool) {
  const std::optional<Bundle> bundle = bundles.bundleAt(path);
  if (!bundle || bundle->informationDictionary.empty()) {
    throw InstalledApplicationError("there is no application bundle at " + path.string());
  }
  const std::string identifier = bundle->bundleIdentifier().value_or("");
  if (identifier.empty())
    throw InstalledApplicationError("the application has no bundle identifier: " + path.string());

  InstalledApplication application;
  application.path = path;
  std::string name = bundle->informationString("CFBundleDisplayName");
  if (name.empty()) name = bundle->informationString("CFBundleName");
  if (name.empty()) name = path.stem().string();
  application.identity = {name, identifier, bundle->informationString("CFBundleShortVersionString"),
                          bundle->informationString("CFBundleVersion")};
  application.build = parseDecimal<std::int64_t>(application.identity.buildNumberString).value_or(0);
  application.teamIdentifier = readTeamIdentifier(path, signingTool);
  return application;
}

}  // namespace pellam

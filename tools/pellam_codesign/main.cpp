#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "formats/signing/bundle_description.h"
#include "formats/signing/bundle_signer.h"
#include "formats/signing/bundle_verifier.h"
#include "formats/signing/signing_error.h"
#include "platform/bundle_loading.h"
#include "platform/confined_folder.h"
#include "platform/file_system.h"
#include "tools/pellam_codesign/arguments.h"

namespace {

using namespace pellam;
using namespace pellam::codesign;

constexpr int failureStatus = 1;
constexpr int usageStatus = 2;
constexpr int requirementStatus = 3;

void printLine(const std::string& line) { (void)std::fprintf(stderr, "%s\n", line.c_str()); }

// The anchors that the application which carries this tool trusts.
std::filesystem::path ownAnchors() {
  return makeSystemBundleLoader(makeSystemFileSystem())->mainBundlePath() / "Contents" / "Resources" /
         "CodeSigningAnchors.pem";
}

void perform(const Arguments& arguments, const std::filesystem::path& bundle) {
  const std::shared_ptr<FolderOpening> folders = makeSystemFolderOpening();
  switch (arguments.operation) {
    case Arguments::Operation::sign:
      return signBundle(
          *folders, *makeSystemFileSystem(),
          {bundle, *arguments.certificateFile, *arguments.keyFile, arguments.team, arguments.identifier});
    case Arguments::Operation::verify:
      return verifyBundle(*folders, {bundle, arguments.anchors ? *arguments.anchors : ownAnchors(),
                                     arguments.strict, arguments.deep});
    case Arguments::Operation::display:
      for (const std::string& line : describeBundle(*folders, bundle, std::filesystem::current_path()))
        printLine(line);
  }
}

}  // namespace

int main(int argumentCount, char** argumentVector) {
  Arguments arguments;
  try {
    const std::vector<std::string> given(argumentVector + (argumentCount > 0 ? 1 : 0),
                                         argumentVector + argumentCount);
    arguments = Arguments::parse(given);
  } catch (const UsageError& error) {
    printLine(std::string("pellam-codesign: ") + printable(error.what()));
    (void)std::fputs(usage, stderr);
    return usageStatus;
  }
  int status = 0;
  for (const std::filesystem::path& bundle : arguments.paths) {
    try {
      perform(arguments, bundle);
    } catch (const CodeSigningError& error) {
      const std::string path = error.path().empty() ? bundle.string() : error.path().string();
      printLine(printable(path) + ": " + printable(error.reason()));
      for (const std::string& detail : error.details()) printLine(detail);
      status = error.reason() == reason::requirementFailed ? requirementStatus : failureStatus;
    } catch (const std::exception& error) {
      printLine(printable(bundle.string()) + ": " + printable(error.what()));
      status = failureStatus;
    }
  }
  return status;
}

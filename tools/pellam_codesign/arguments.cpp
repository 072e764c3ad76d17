#include "tools/pellam_codesign/arguments.h"

namespace pellam::codesign {

namespace {

bool isVerbosity(const std::string& argument) {
  return argument == "-v" || argument == "-vv" || argument == "-vvv" || argument == "-vvvv" ||
         argument == "--verbose" || argument.starts_with("--verbose=");
}

}  // namespace

Arguments Arguments::parse(std::span<const std::string> arguments) {
  Arguments result;
  std::optional<Operation> operation;
  const auto choose = [&](Operation wanted) {
    if (operation) throw UsageError("more than one of --sign, --verify and -d");
    operation = wanted;
  };
  bool onlyPaths = false;
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::string& argument = arguments[index];
    const auto value = [&]() -> const std::string& {
      if (index + 1 == arguments.size()) throw UsageError("option without a value: " + argument);
      return arguments[++index];
    };
    if (onlyPaths || !argument.starts_with('-')) {
      result.paths.emplace_back(argument);
    } else if (argument == "--") {
      onlyPaths = true;
    } else if (argument == "--sign" || argument == "-s") {
      choose(Operation::sign);
      result.certificateFile = value();
    } else if (argument == "--verify") {
      choose(Operation::verify);
    } else if (argument == "-d" || argument == "-dv" || argument == "-dvv" || argument == "-dvvv" ||
               argument == "-dvvvv" || argument == "--display") {
      choose(Operation::display);
    } else if (argument == "--key") {
      result.keyFile = value();
    } else if (argument == "--team") {
      result.team = value();
    } else if (argument == "--identifier" || argument == "-i") {
      result.identifier = value();
    } else if (argument == "--anchors") {
      result.anchors = value();
    } else if (argument == "--strict") {
      result.strict = true;
    } else if (argument == "--deep") {
      result.deep = true;
    } else if (!isVerbosity(argument)) {
      throw UsageError("unknown option: " + argument);
    }
  }
  if (!operation) throw UsageError("one of --sign, --verify and -d is needed");
  if (result.paths.empty()) throw UsageError("no bundle given");
  result.operation = *operation;
  const bool isSigning = *operation == Operation::sign;
  if (isSigning && !result.keyFile) throw UsageError("--sign needs --key");
  if (isSigning && result.deep)
    throw UsageError("--deep does not sign: sign nested code first, then what holds it");
  if (!isSigning && (result.keyFile || result.team || result.identifier)) {
    throw UsageError("--key, --team and --identifier belong to --sign");
  }
  return result;
}

}  // namespace pellam::codesign

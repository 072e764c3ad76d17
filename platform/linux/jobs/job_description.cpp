#include "platform/linux/jobs/job_description.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "foundation/decimal.h"

namespace pellam {

JobDescription JobDescription::fromDictionary(const PropertyListDictionary& dictionary) {
  JobDescription description;
  const PropertyListText* label = dictionary.findString("Label");
  const PropertyListValue* program = dictionary.find("ProgramArguments");
  const PropertyListArray* arguments = program == nullptr ? nullptr : program->array();
  if (label == nullptr || label->empty() || arguments == nullptr || arguments->empty()) {
    throw jobError(EINVAL, "the job has no label or no program");
  }
  description.label = *label;
  for (const PropertyListValue& argument : *arguments) {
    const PropertyListText* text = argument.string();
    if (text == nullptr || text->view().find('\0') != std::string::npos) {
      throw jobError(EINVAL, "the job has an argument that is no text");
    }
    description.arguments.push_back(*text);
  }
  if (!description.arguments.front().starts_with('/')) {
    throw jobError(EINVAL, "the job's program is no absolute path");
  }
  if (const PropertyListValue* nice = dictionary.find("Nice")) {
    description.nice = static_cast<int>(nice->numberAsInteger().value_or(0));
  }
  return description;
}

std::optional<OpenRequest> OpenRequest::fromArguments(const std::vector<std::string>& arguments) {
  if (arguments.size() == 2 && arguments[0] == "/usr/bin/open")
    return OpenRequest{arguments[1], std::nullopt};
  if (arguments.size() == 5 && arguments[0] == "/bin/launchctl" && arguments[1] == "asuser" &&
      arguments[3] == "/usr/bin/open") {
    if (const auto user = parseDecimal<uid_t>(arguments[2])) return OpenRequest{arguments[4], user};
  }
  return std::nullopt;
}

std::string encodedLabel(const std::string& label, const std::string& escapePrefix) {
  constexpr std::size_t longest = 200;
  if (label.empty()) throw jobError(EINVAL, "the job has no label");
  std::string name;
  for (const char byte : label) {
    const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                         (byte >= '0' && byte <= '9') || byte == '_' || byte == '-' ||
                         (byte == '.' && !name.empty());
    if (isPlain) {
      name += byte;
    } else {
      std::array<char, 3> digits{};
      (void)std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(byte));
      name += escapePrefix + digits.data();
    }
  }
  if (name.size() > longest) throw jobError(ENAMETOOLONG, "the job's label is too long");
  return name;
}

PlatformError jobError(int error, const std::string& what) {
  return PlatformError({"NSPOSIXErrorDomain", error, what + ": " + std::generic_category().message(error)});
}

}  // namespace pellam

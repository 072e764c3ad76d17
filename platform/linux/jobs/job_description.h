#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "pellam/bridged_error.h"
#include "pellam/property_list_value.h"

namespace pellam {

// What the job manager needs from a job's dictionary.
struct JobDescription {
  std::string label;
  std::vector<std::string> arguments;  // the first one is the program, an absolute path
  int nice = 0;

  // Throws PlatformError (EINVAL) for a dictionary that describes no job.
  [[nodiscard]] static JobDescription fromDictionary(const PropertyListDictionary& dictionary);
};

// Jobs that open an application: "/usr/bin/open PATH", or for a user "/bin/launchctl asuser UID /usr/bin/open
// PATH". Linux has neither program; the job manager does their work itself.
struct OpenRequest {
  std::filesystem::path application;
  std::optional<uid_t> user;  // absent: whoever runs the job

  [[nodiscard]] static std::optional<OpenRequest> fromArguments(const std::vector<std::string>& arguments);
};

// The label as the name of a file or a unit: letters, digits, ".", "_" and "-" stay, anything else becomes
// the prefix and two hexadecimal digits, as does a leading dot. So no label can leave its folder. Throws
// PlatformError for an empty label (EINVAL) and for one that is too long (ENAMETOOLONG).
[[nodiscard]] std::string encodedLabel(const std::string& label, const std::string& escapePrefix);

// A failure with the system's errno, as the callers of job control see it.
[[nodiscard]] PlatformError jobError(int error, const std::string& what);

}  // namespace pellam

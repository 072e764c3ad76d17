#include "tools/pellam_ditto/ditto_command.h"

#include <new>
#include <ostream>
#include <system_error>

#include "formats/archive/entry_name.h"
#include "formats/archive/zip_unpacker.h"

namespace pellam::archive {

int runDitto(FolderOpening& folders, const std::vector<std::string>& arguments, std::ostream& output,
             std::ostream& errors, const std::atomic<bool>& stop) {
  constexpr const char* usage = "usage: pellam-ditto -x -k ARCHIVE DESTINATION\n";
  if (arguments.size() == 1 && arguments[0] == "--help") {
    output << usage;
    return 0;
  }
  if (arguments.size() != 4 || arguments[0] != "-x" || arguments[1] != "-k" || arguments[2].empty() ||
      arguments[3].empty()) {
    errors << usage;
    return 1;
  }
  const auto fail = [&](const std::string& reason) {
    errors << "pellam-ditto: " << shownName(arguments[2]) << ": " << reason << "\n";
    return 1;
  };
  UnpackingOptions options;
  options.stop = &stop;
  try {
    unpackZipArchive(folders, arguments[2], arguments[3], options);
    return 0;
  } catch (const std::bad_alloc&) {
    return fail("out of memory");
  } catch (const std::exception& error) {
    return fail(shownName(error.what()));
  }
}

}  // namespace pellam::archive

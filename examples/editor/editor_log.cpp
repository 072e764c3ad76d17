#include "examples/editor/editor_log.h"

#include <fstream>
#include <utility>

#include "foundation/safe_text.h"

namespace pellam {

EditorLog::EditorLog(std::filesystem::path file, const PellamAppIdentity& identity,
                     std::int32_t processIdentifier, std::shared_ptr<PellamClock> clock)
    : file_(std::move(file)),
      prefix_("version=" + identity.versionString + " build=" + identity.buildNumberString +
              " pid=" + std::to_string(processIdentifier)),
      clock_(std::move(clock)) {}

void EditorLog::write(const std::string& what) {
  if (file_.empty()) return;
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(clock_->now().time_since_epoch()).count();
  const std::lock_guard lock(lock_);
  std::ofstream(file_, std::ios::app)
      << milliseconds << ' ' << prefix_ << ' ' << escapedLineBreaks(what) << std::endl;
}

}  // namespace pellam

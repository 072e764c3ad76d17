#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include "pellam/app_identity.h"
#include "platform/clock.h"

namespace pellam {

// The sample application's log, one line for each thing that happened:
// "<milliseconds since 1970> version=… build=… pid=… <what>". Lines are on disk when the call returns. Any
// thread.
class EditorLog {
 public:
  // Without a file nothing is written.
  EditorLog(std::filesystem::path file, const PellamAppIdentity& identity, std::int32_t processIdentifier,
            std::shared_ptr<PellamClock> clock);
  void write(const std::string& what);

 private:
  std::mutex lock_;
  std::filesystem::path file_;
  std::string prefix_;
  std::shared_ptr<PellamClock> clock_;
};

}  // namespace pellam

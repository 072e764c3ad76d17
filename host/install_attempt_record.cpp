#include "host/install_attempt_record.h"

namespace pellam {

namespace {
constexpr const char* attemptKey = "PellamUpdateAttemptIdentifier";
constexpr const char* manualUpdateKey = "PellamUpdateManualUpdateURL";
}  // namespace

void InstallAttemptRecord::store(PellamKeyValueStoring& settings) const {
  settings.set(attemptIdentifier, attemptKey);
  if (manualUpdateURL) {
    settings.set(manualUpdateURL->text(), manualUpdateKey);
  } else {
    settings.removeObjectForKey(manualUpdateKey);
  }
}

std::optional<InstallAttemptRecord> InstallAttemptRecord::load(const PellamKeyValueStoring& settings) {
  const std::optional<std::string> attempt = settings.stringForKey(attemptKey);
  if (!attempt) return std::nullopt;
  return InstallAttemptRecord{*attempt, URL::parse(settings.stringForKey(manualUpdateKey).value_or(""))};
}

void InstallAttemptRecord::remove(PellamKeyValueStoring& settings) {
  settings.removeObjectForKey(attemptKey);
  settings.removeObjectForKey(manualUpdateKey);
}

}  // namespace pellam

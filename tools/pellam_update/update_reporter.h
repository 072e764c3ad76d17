#pragma once

#include <cstdio>
#include <mutex>
#include <optional>
#include <string>

#include "feed/feed_pipeline.h"
#include "pellam/app_identity.h"
#include "pellam/launch_progress.h"
#include "pellam/progress_window.h"

namespace pellam {

// Writes what happens to standard output, in one of three forms: a progress bar on a terminal, plain lines,
// or one JSON object for each event. Every operation may be called from any thread.
class UpdateReporter {
 public:
  enum class Form { terminal, plain, json };
  UpdateReporter(std::FILE* output, Form form) : output_(output), form_(form) {}

  void checking(const PellamAppIdentity& identity, const std::string& feed);
  // The decision, and where to read about the release.
  void offer(const PellamAppIdentity& identity, const OrvoUpdateFeedProcessingCandidate& candidate);
  void nothingToOffer(const PellamAppIdentity& identity);
  void nextCheck(double seconds);
  // A report that an earlier installation left behind.
  void earlierFailure(const std::string& description, const std::string& failedAt);
  void progress(const OrvoUpdateProgressWindowState& state);
  void launchProgress(const OrvoAppBundleInstallerLaunchProgress& progress);
  void launched(const std::string& installedPath);
  void openedInstaller(const std::string& path);
  void cancelled();
  void failed(const std::string& error, const std::string& message);

 private:
  void writeLine(const std::string& text);
  void writeJSON(const std::string& object);
  void endBar();

  std::mutex lock_;
  std::FILE* output_;
  Form form_;
  bool barIsOpen_ = false;
  std::string lastTitle_;
  int lastTenth_ = -1;
  int lastPercent_ = -1;
};

}  // namespace pellam

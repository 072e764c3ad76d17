#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "feed/feed_pipeline.h"
#include "host/update_check.h"
#include "pellam/app_identity.h"
#include "pellam/launch_progress.h"
#include "pellam/progress_window.h"

namespace pellam {

// Writes what happens to standard output, in one of three forms: a progress bar on a terminal, plain lines,
// or one JSON object for each event. Whatever it is given may come from a feed: nothing of it steers a
// terminal or begins a line of its own; JSON is in ASCII. Every operation may be called from any thread.
class UpdateReporter {
 public:
  enum class Form { terminal, plain, json };
  // `uptime` gives the nanoseconds since any instant, for the pauses between events of unending work.
  UpdateReporter(std::FILE* output, Form form, std::function<std::uint64_t()> uptime)
      : output_(output), form_(form), uptime_(std::move(uptime)) {}

  void checking(const PellamAppIdentity& identity, const std::string& feed);
  // The decision, and where to read about the release.
  void offer(const PellamAppIdentity& identity, const OrvoUpdateFeedProcessingCandidate& candidate);
  // With what keeps the feed's updates from being offered.
  void nothingToOffer(const PellamAppIdentity& identity, const std::vector<UpdateObstacle>& obstacles);
  void nextCheck(double seconds);
  // A report that an earlier installation left behind.
  void earlierFailure(const std::string& description, const std::string& failedAt);
  // One event for each step and for each percent; where no length is known, one for each second or, in plain
  // lines, for every five.
  void progress(const OrvoUpdateProgressWindowState& state);
  void launchProgress(const OrvoAppBundleInstallerLaunchProgress& progress);
  void launched(const std::string& installedPath);
  void openedInstaller(const std::string& path);
  void cancelled();
  // The user wants to stop what has been handed off.
  void tooLateToCancel();
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
  int lastPart_ = -1;
  std::uint64_t lastTime_ = 0;
  const std::function<std::uint64_t()> uptime_;
};

}  // namespace pellam

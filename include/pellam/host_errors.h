#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "pellam/bridged_error.h"

namespace [[gnu::visibility("default")]] pellam {

// The application bundle cannot be updated by this system; what() is one line that says why.
class InstalledApplicationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// There is no display, or none that lets this process in. Nothing was shown.
class DisplayUnavailable : public PellamError {
 public:
  explicit DisplayUnavailable(std::string what) : what_(std::move(what)) {}
  [[nodiscard]] BridgedError bridged() const override { return {"Pellam.Display", 1, what_}; }
  [[nodiscard]] const char* what() const noexcept override { return what_.c_str(); }

 private:
  std::string what_;
};

// The server answered, but not with a feed. what() is one line.
//
// For example:
//
//     try {
//       throw FeedNotServed(404);
//     } catch (const PellamError& error) {
//       assert(std::string_view(error.what()) == "The feed's server answered with status 404.");
//     }
class FeedNotServed : public PellamError {
 public:
  explicit FeedNotServed(int statusCode)
      : statusCode_(statusCode),
        what_("The feed's server answered with status " + std::to_string(statusCode) + ".") {}
  [[nodiscard]] BridgedError bridged() const override { return {"Pellam.UpdateCheck", statusCode_, what_}; }
  [[nodiscard]] const char* what() const noexcept override { return what_.c_str(); }

 private:
  int statusCode_;
  std::string what_;
};

// A second installation was started on a host that is still at its first, which goes on undisturbed.
class InstallationInProgress : public PellamError {
 public:
  [[nodiscard]] BridgedError bridged() const override { return {"Pellam.InstallerCoordinator", 1, what()}; }
  [[nodiscard]] const char* what() const noexcept override {
    return "Another installation is already running.";
  }
};

}  // namespace pellam

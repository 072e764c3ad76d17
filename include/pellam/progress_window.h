#pragma once

#include <functional>
#include <optional>
#include <string>

namespace [[gnu::visibility("default")]] pellam {

// What the progress window shows. Compared member by member.
struct OrvoUpdateProgressWindowState {
  std::string title;
  std::optional<std::string> statusText;   // absent or empty: no status line
  std::optional<double> progressFraction;  // absent: indeterminate; else clamped to 0…1

  friend bool operator==(const OrvoUpdateProgressWindowState&,
                         const OrvoUpdateProgressWindowState&) = default;
};

// The small window in which an installation shows what it is doing: the installation's only way to it. Every
// operation runs on the main thread; operations on a closed window do nothing.
//
// For example:
//
//     struct ConsoleProgress final : OrvoUpdateProgressWindow {
//       void update(const OrvoUpdateProgressWindowState& state) override { std::puts(state.title.c_str()); }
//       void showReadyToInstallAndRelaunch(const std::string&, const std::string&,
//                                          std::function<void()> action) override {
//         action();  // nobody has to be asked
//       }
//       void requestUserAttention() override {}
//       void close() override { isClosed = true; }
//       bool isClosed = false;
//     };
//     ConsoleProgress progress;
//     progress.update({"Downloading update…", "1 MB of 2 MB", 0.5});
//     progress.close();
//     assert(progress.isClosed);
class OrvoUpdateProgressWindow {
 public:
  virtual ~OrvoUpdateProgressWindow() = default;
  // Shows the state and withdraws a button that was offered before.
  virtual void update(const OrvoUpdateProgressWindowState& state) = 0;
  // Shows the title with a full bar and offers the button; the action is called at most once, on the main
  // thread, the button being disabled first.
  virtual void showReadyToInstallAndRelaunch(const std::string& title, const std::string& buttonTitle,
                                             std::function<void()> action) = 0;
  // Asks for the user's attention without taking the focus.
  virtual void requestUserAttention() = 0;
  virtual void close() = 0;
};

}  // namespace pellam

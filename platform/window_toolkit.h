#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pellam/host_errors.h"
#include "pellam/url.h"
#include "platform/view.h"

namespace pellam {

class BundleLoading;
class ChildProcessRunning;

// Windows, their contents and modal alerts, as one system draws them. Whoever calls decides on every text,
// size, order and answer; a body builds the views and lays them out. Everything here is used on the main
// thread only. Lengths are points.

struct WindowSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const WindowSize&, const WindowSize&) = default;
};

// Windows have a title bar. Those made here float above the application's others, join every desktop, hide
// while the application is not active, and are drawn off screen until they are ordered front.
struct WindowDescription {
  std::string title;
  WindowSize contentSize;
  std::optional<WindowSize> minimumSize;
  bool isClosable = false;
  bool isResizable = false;
};

// A handle that owns its window: dropping the last one closes the window without telling the handler.
class Window {
 public:
  Window() = default;
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  virtual ~Window() = default;

  [[nodiscard]] virtual std::string title() const = 0;
  // Nothing once the window is closed.
  [[nodiscard]] virtual std::shared_ptr<View> contentView() = 0;
  // Called once, just before the window goes away, whoever closes it.
  virtual void setWillCloseHandler(std::function<void()> handler) = 0;
  virtual void center() = 0;
  virtual void makeKeyAndOrderFront() = 0;
  // As if the user had pressed the close button; without one nothing happens.
  virtual void performClose() = 0;
  // A second close does nothing.
  virtual void close() = 0;
};

enum class NavigationPolicy { allow, cancel };

struct NavigationAction {
  bool isLinkActivated = false;  // a link that the user clicked, whichever window it is meant for
  std::optional<URL> url;        // read leniently, as the web view itself does
};

struct UpdatePromptButton {
  std::string title;
  std::string accessibilityIdentifier;
  bool isDefault = false;  // answers to Return
  bool isHidden = false;
  std::function<void()> action;
};

// Lengths in points; whoever makes the contents says all of them.
struct PromptLayout {
  double margin = 0;
  double columnWidth = 0;
  double logoScale = 0;
  double textSpacing = 0;
  double minimumNotesHeight = 0;
};

struct ProgressLayout {
  double margin = 0;
  double spacing = 0;
  double barHeight = 0;
};

// The contents of the update prompt. A column of `columnWidth` at the leading edge holds the logo, centred,
// at its top, at `logoScale` of the column's width; to its right, from top to bottom and `textSpacing` apart:
// headline (one line, bold), sentence (wrapping, a little smaller), caption (bold, smaller still), and a
// bordered box without padding, at least `minimumNotesHeight` high, filled by a web view; the buttons lie
// along the bottom edge. `margin` separates everything from the window's edges, the box from the buttons, and
// the buttons.
struct UpdatePromptContent {
  PromptLayout layout;
  std::string logoImageName;  // an image resource of the main bundle; unknown: the column stays empty
  std::string headline;
  std::string sentence;
  std::string caption;
  std::vector<UpdatePromptButton> buttons;  // the first at the trailing edge, each next one before it
  // The page to load, ignoring local caches, for `timeout` at most; without one the box stays blank, as it
  // does when the page fails. Where the system cannot confine a web view, the box holds a button with
  // `releaseNotesLinkTitle` that asks `decidePolicy` as a clicked link would.
  std::optional<URL> releaseNotes;
  std::chrono::seconds timeout{60};
  std::string releaseNotesLinkTitle;
  // Asked for each navigation before it begins.
  std::function<NavigationPolicy(const NavigationAction&)> decidePolicy;
};

// The contents of the progress window: a stack at `margin` from both sides, centred vertically, its rows
// `spacing` apart and as wide as the stack, hidden rows taking no room: title (one line, semibold system
// font, cut at its end), status (one line, small, digits of one width, secondary colour, cut at its end,
// hidden), bar (`barHeight` high, indeterminate, 0…1, animated), and a row with the action button (hidden).
struct ProgressContent {
  std::string titleIdentifier;
  std::string statusIdentifier;
  std::string barIdentifier;
  std::string buttonIdentifier;
  ProgressLayout layout;
};

enum class AlertStyle { warning, informational };

struct AlertCheckbox {
  std::string title;
  bool isOn = false;
  friend bool operator==(const AlertCheckbox&, const AlertCheckbox&) = default;
};

struct AlertDescription {
  AlertStyle style = AlertStyle::warning;
  std::string messageText;
  std::string informativeText;
  std::vector<std::string> buttonTitles;  // the first is the default one; none: the system's single button
  std::optional<AlertCheckbox> suppressionCheckbox;
  friend bool operator==(const AlertDescription&, const AlertDescription&) = default;
};

struct AlertAnswer {
  // The pressed button's position. Escape, a closed alert, and one that ended in any other way press the last
  // one: the first is the one that does something.
  std::size_t buttonIndex = 0;
  std::optional<bool> suppressionIsOn;  // present when the checkbox was shown
  friend bool operator==(const AlertAnswer&, const AlertAnswer&) = default;
};

class WindowToolkit {
 public:
  WindowToolkit() = default;
  WindowToolkit(const WindowToolkit&) = delete;
  WindowToolkit& operator=(const WindowToolkit&) = delete;
  virtual ~WindowToolkit() = default;

  [[nodiscard]] virtual std::shared_ptr<Window> makeWindow(const WindowDescription& description) = 0;
  // Both add to an empty content view.
  virtual void buildPromptContent(View& contentView, UpdatePromptContent content) = 0;
  virtual void buildProgressContent(View& contentView, const ProgressContent& content) = 0;
  // Shows an application-modal alert and returns when it was answered; other main-thread work goes on inside.
  [[nodiscard]] virtual AlertAnswer runModal(const AlertDescription& alert) = 0;
  // Asks for the user's attention, once, without taking the focus.
  virtual void requestUserAttention() = 0;
};

// Connects to the display. Throws DisplayUnavailable. Images are resources of the main bundle. Where release
// notes are shown only when the system can confine a web view, a child process tries that before the first.
[[nodiscard]] std::shared_ptr<WindowToolkit> makeSystemWindowToolkit(
    const BundleLoading& bundles, std::shared_ptr<ChildProcessRunning> childProcesses);

}  // namespace pellam

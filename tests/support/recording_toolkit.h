#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/bundle_loading.h"
#include "platform/window_toolkit.h"
#include "platform/workspace.h"
#include "tests/support/fake_bundles.h"
#include "ui/view_search.h"

// Windows without a display: a real little view tree that can be pressed, closed and looked at.
namespace pellam::testing_support {

// The state of any view; the seam's kinds are made of it.
template <typename Kind>
class RecordedView : public Kind {
 public:
  std::string accessibilityIdentifier() const override { return identifier; }
  std::vector<std::shared_ptr<View>> subviews() const override { return children; }
  void removeAllSubviews() override { children.clear(); }
  bool isHidden() const override { return hidden; }
  void setHidden(bool isHidden) override { hidden = isHidden; }

  std::string identifier;
  std::vector<std::shared_ptr<View>> children;
  bool hidden = false;
};

using RecordedBox = RecordedView<View>;

struct RecordedLabel final : RecordedView<Label> {
  std::string text() const override { return shown; }
  void setText(const std::string& text) override { shown = text; }
  std::string shown;
};

struct RecordedButton final : RecordedView<Button> {
  std::string title() const override { return name; }
  void setTitle(const std::string& title) override { name = title; }
  bool isEnabled() const override { return enabled; }
  void setEnabled(bool isEnabled) override { enabled = isEnabled; }
  void setActionHandler(std::function<void(Button&)> handler) override { action = std::move(handler); }
  void sizeToFit() override { fittedTitle = name; }
  // A click: nothing reaches a button that is hidden or disabled.
  bool click() {
    if (hidden || !enabled) return false;
    const std::function<void(Button&)> pressed = action;
    if (pressed) pressed(*this);
    return true;
  }
  std::string name;
  std::string fittedTitle;
  bool enabled = true;
  std::function<void(Button&)> action;
};

struct RecordedBar final : RecordedView<ProgressIndicator> {
  bool isIndeterminate() const override { return indeterminate; }
  void setIndeterminate(bool isIndeterminate) override { indeterminate = isIndeterminate; }
  double value() const override { return filled; }
  void setValue(double value) override { filled = value; }
  bool isAnimating() const override { return animating; }
  void startAnimation() override { animating = true; }
  void stopAnimation() override { animating = false; }
  bool indeterminate = true;
  double filled = 0;
  bool animating = true;
};

class RecordedWindow final : public Window, public std::enable_shared_from_this<RecordedWindow> {
 public:
  explicit RecordedWindow(WindowDescription made) : description(std::move(made)) {}

  std::string title() const override { return description.title; }
  std::shared_ptr<View> contentView() override { return isOpen ? content : nullptr; }
  void setWillCloseHandler(std::function<void()> handler) override { willClose = std::move(handler); }
  void center() override { steps.emplace_back("center"); }
  void makeKeyAndOrderFront() override { steps.emplace_back("front"); }
  void performClose() override {
    if (description.isClosable) close();
  }
  void close() override {
    if (!isOpen || isClosing) return;
    isClosing = true;
    const auto self = shared_from_this();  // the handler may drop the last handle
    if (const auto handler = std::exchange(willClose, nullptr)) handler();
    isOpen = false;
    prompt.reset();
  }

  WindowDescription description;
  std::shared_ptr<RecordedBox> content = std::make_shared<RecordedBox>();
  std::optional<UpdatePromptContent> prompt;
  std::vector<std::string> steps;
  std::function<void()> willClose;
  bool isOpen = true;
  bool isClosing = false;

  // A click on the prompt's or the progress window's button of that title.
  bool click(const std::string& buttonTitle) {
    if (!isOpen) return false;
    if (prompt) {
      for (const UpdatePromptButton& button : prompt->buttons) {
        if (button.title != buttonTitle || button.isHidden) continue;
        const auto action = button.action;
        action();
        return true;
      }
    }
    if (const auto button = findButton(*content, buttonTitle)) return button->click();
    return false;
  }

 private:
  static std::shared_ptr<RecordedButton> findButton(const View& root, const std::string& title) {
    for (const auto& subview : root.subviews()) {
      const auto button = std::dynamic_pointer_cast<RecordedButton>(subview);
      if (button && button->name == title) return button;
      if (auto found = findButton(*subview, title)) return found;
    }
    return nullptr;
  }
};

class RecordingToolkit final : public WindowToolkit {
 public:
  std::shared_ptr<Window> makeWindow(const WindowDescription& description) override {
    checkThread();
    auto window = std::make_shared<RecordedWindow>(description);
    windows.push_back(window);
    return window;
  }
  void buildPromptContent(View& contentView, UpdatePromptContent content) override {
    EXPECT_TRUE(contentView.subviews().empty());
    for (const auto& weak : windows) {
      const auto window = weak.lock();
      if (window && window->content.get() == &contentView) window->prompt = std::move(content);
    }
  }
  void buildProgressContent(View& contentView, const ProgressContent& content) override {
    EXPECT_TRUE(contentView.subviews().empty());
    const auto make = [](auto view, const std::string& identifier, bool isHidden) {
      view->identifier = identifier;
      view->hidden = isHidden;
      return view;
    };
    auto stack = std::make_shared<RecordedBox>();
    auto row = std::make_shared<RecordedBox>();
    row->children = {make(std::make_shared<RecordedButton>(), content.buttonIdentifier, true)};
    stack->children = {make(std::make_shared<RecordedLabel>(), content.titleIdentifier, false),
                       make(std::make_shared<RecordedLabel>(), content.statusIdentifier, true),
                       make(std::make_shared<RecordedBar>(), content.barIdentifier, false), row};
    dynamic_cast<RecordedBox&>(contentView).children = {stack};
  }
  AlertAnswer runModal(const AlertDescription& alert) override {
    checkThread();
    alerts.push_back(alert);
    const auto during = std::exchange(whileAlertIsOpen, nullptr);
    if (during) during();
    if (answers.empty()) {
      const std::size_t buttons = std::max<std::size_t>(1, alert.buttonTitles.size());
      const auto checkbox = alert.suppressionCheckbox;
      return {buttons - 1, checkbox ? std::optional(checkbox->isOn) : std::nullopt};
    }
    const AlertAnswer answer = answers.front();
    answers.pop_front();
    return answer;
  }
  void requestUserAttention() override {
    checkThread();
    ++attentionRequests;
  }

  // The open window that was made last; null when there is none.
  std::shared_ptr<RecordedWindow> openWindow() const {
    for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
      const auto shown = window->lock();
      if (shown && shown->isOpen) return shown;
    }
    return nullptr;
  }
  std::size_t openWindowCount() const {
    return static_cast<std::size_t>(std::count_if(windows.begin(), windows.end(), [](const auto& weak) {
      const auto window = weak.lock();
      return window && window->isOpen;
    }));
  }

  // Held weakly, as a real toolkit shows what its owner holds.
  std::vector<std::weak_ptr<RecordedWindow>> windows;
  std::vector<AlertDescription> alerts;
  std::deque<AlertAnswer> answers;         // without one the last button is pressed
  std::function<void()> whileAlertIsOpen;  // runs once, inside the next alert
  int attentionRequests = 0;

 private:
  void checkThread() const { EXPECT_EQ(std::this_thread::get_id(), thread_) << "off the main thread"; }
  std::thread::id thread_ = std::this_thread::get_id();
};

// Texts in a language of its own where they are named, else in English. Records what was looked up.
struct RecordingWorkspace final : Workspace {
  bool open(const std::filesystem::path& file) override {
    opened.push_back(file.string());
    return succeeds;
  }
  bool open(const URL& url) override {
    opened.push_back(url.text());
    return succeeds;
  }
  std::vector<std::string> opened;
  bool succeeds = true;
};

}  // namespace pellam::testing_support

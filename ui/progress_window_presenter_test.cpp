#include "ui/progress_window_presenter.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/recording_toolkit.h"
#include "ui/presented_progress_window.h"

namespace pellam {
namespace {

using namespace testing_support;
using Presenter = OrvoUpdateProgressWindowPresenter;

class ProgressWindowPresenterTest : public testing::Test {
 protected:
  template <typename Recorded>
  static std::shared_ptr<Recorded> find(const RecordedWindow& window, const char* identifier) {
    return orvoUpdateProgressDescendant<Recorded>(*window.content, identifier);
  }
  // What a person sees: title|status|bar|button.
  static std::string seen(const RecordedWindow& window) {
    const auto title = find<RecordedLabel>(window, Presenter::titleLabelIdentifier);
    const auto status = find<RecordedLabel>(window, Presenter::statusLabelIdentifier);
    const auto bar = find<RecordedBar>(window, Presenter::progressIndicatorIdentifier);
    const auto button = find<RecordedButton>(window, Presenter::actionButtonIdentifier);
    if (!title || !status || !bar || !button) return "incomplete";
    std::string line = title->shown + "|" + (status->hidden ? "-" : status->shown) + "|";
    if (bar->indeterminate != bar->animating) {
      line += "inconsistent";
    } else {
      line += bar->indeterminate ? "animated" : std::to_string(bar->filled).substr(0, 4);
    }
    return line + "|" + (button->hidden ? "-" : button->name + (button->enabled ? "" : " (disabled)"));
  }
  std::shared_ptr<RecordedWindow> show(const std::string& title) {
    window_ = presenter_.showProgressWindow(title, std::nullopt);
    return std::dynamic_pointer_cast<RecordedWindow>(window_);
  }

  std::shared_ptr<RecordingToolkit> toolkit_ = std::make_shared<RecordingToolkit>();
  std::shared_ptr<FakeBundles> bundles_ = std::make_shared<FakeBundles>();
  Presenter presenter_{toolkit_, bundles_};
  std::shared_ptr<Window> window_;
};

TEST_F(ProgressWindowPresenterTest, ShowsAWindowThatOnlyTheInstallationCloses) {
  const auto window = show("Downloading update…");
  EXPECT_EQ(seen(*window), "Downloading update…|-|animated|-");
  EXPECT_EQ(window->description.contentSize, (WindowSize{420, 132}));
  EXPECT_FALSE(window->description.isClosable);
  EXPECT_FALSE(window->description.isResizable);
  EXPECT_FALSE(window->description.minimumSize);
  EXPECT_EQ(window->steps, (std::vector<std::string>{"center", "front"}));
  window->performClose();
  EXPECT_TRUE(window->isOpen);
  presenter_.hideProgressWindow(*window_);
  EXPECT_FALSE(window->isOpen);
}

TEST_F(ProgressWindowPresenterTest, FindsItsTitle) {
  struct Row {
    std::optional<std::string> given;
    PropertyListDictionary information;
    std::string title;
  };
  const std::vector<Row> rows = {
      {" Foo \n", {}, "Foo"},
      {"", {{"CFBundleDisplayName", "  \t"}, {"CFBundleName", "Foo"}}, "Foo Update"},
      {" \n", {{"CFBundleDisplayName", " Bar "}, {"CFBundleName", "Foo"}}, "Bar Update"},
      {std::nullopt, {{"CFBundleDisplayName", 7}, {"CFBundleName", "Foo"}}, "Foo Update"},
      {std::nullopt, {{"CFBundleName", "\u2003"}}, "Software Update"},
      {std::nullopt, {{"CFBundleName", "100%@"}}, "100%@ Update"},
      {std::nullopt, {}, "Software Update"},
  };
  for (const Row& row : rows) {
    bundles_->information = row.information;
    EXPECT_EQ(presenter_.resolvedWindowTitle(row.given), row.title);
  }
  using LookUp = FakeBundles::LookUp;
  EXPECT_EQ(bundles_->lookedUp.front(), (LookUp{"/Applications/Editor.app", "Updates", "%@ Update"}));
  EXPECT_EQ(bundles_->lookedUp.back(), (LookUp{"/Applications/Editor.app", "Updates", "Software Update"}));
}

TEST_F(ProgressWindowPresenterTest, ShowsEveryState) {
  const auto window = show("start");
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<std::pair<OrvoUpdateProgressWindowState, std::string>> steps = {
      {{"a", "1 of 2", 0.5}, "a|1 of 2|0.50|-"},
      {{"b", "", 0.5}, "b|-|0.50|-"},
      {{"b", "again", 0.0}, "b|again|0.00|-"},
      {{"c", std::nullopt, 1.7}, "c|-|1.00|-"},
      {{"c", std::nullopt, -1.0}, "c|-|0.00|-"},
      {{"c", std::nullopt, infinity}, "c|-|1.00|-"},
      {{"c", std::nullopt, std::numeric_limits<double>::quiet_NaN()}, "c|-|0.00|-"},
      {{"<b>d</b>", std::nullopt, std::nullopt}, "<b>d</b>|-|animated|-"},
  };
  for (const auto& [state, line] : steps) {
    presenter_.updateProgressWindow(window_, state);
    EXPECT_EQ(seen(*window), line);
  }
}

TEST_F(ProgressWindowPresenterTest, OffersItsButtonForOnePress) {
  const auto window = show("start");
  int presses = 0;
  const auto offer = [&](std::function<void()> action) {
    presenter_.showReadyToInstallAndRelaunch(window_, "Ready to Install", "Install and Relaunch",
                                             std::move(action));
  };
  offer([&] { ++presses; });
  EXPECT_EQ(seen(*window), "Ready to Install|-|1.00|Install and Relaunch");
  EXPECT_EQ(find<RecordedButton>(*window, Presenter::actionButtonIdentifier)->fittedTitle,
            "Install and Relaunch");
  EXPECT_TRUE(window->click("Install and Relaunch"));
  EXPECT_EQ(seen(*window), "Ready to Install|-|1.00|Install and Relaunch (disabled)");
  EXPECT_FALSE(window->click("Install and Relaunch"));
  EXPECT_EQ(presses, 1);

  offer([&] { ++presses; });
  presenter_.updateProgressWindow(window_, {"next", std::nullopt, std::nullopt});
  EXPECT_EQ(seen(*window), "next|-|animated|-");
  const auto button = find<RecordedButton>(*window, Presenter::actionButtonIdentifier);
  button->action(*button);
  EXPECT_EQ(presses, 1) << "a withdrawn button has lost its action";

  offer([&] {
    EXPECT_FALSE(button->enabled) << "disabled before the action";
    presenter_.updateProgressWindow(window_, {"meanwhile", std::nullopt, std::nullopt});
    ++presses;
  });
  EXPECT_TRUE(window->click("Install and Relaunch"));
  EXPECT_EQ(presses, 2);
  EXPECT_EQ(seen(*window), "meanwhile|-|animated|-");
  offer({});
  EXPECT_TRUE(window->click("Install and Relaunch"));
}

TEST_F(ProgressWindowPresenterTest, BuildsReplacedContentAgain) {
  const auto window = show("start");
  const auto decoy = std::make_shared<RecordedLabel>();
  decoy->identifier = Presenter::progressIndicatorIdentifier;
  window->content->children = {decoy};  // the right name, but no bar
  presenter_.updateProgressWindow(window_, {"again", "status", 0.25});
  EXPECT_EQ(seen(*window), "again|status|0.25|-");
  EXPECT_EQ(window->content->children.size(), 1U) << "what was there is gone";

  presenter_.updateProgressWindow(nullptr, {"nobody", std::nullopt, std::nullopt});
  presenter_.showReadyToInstallAndRelaunch(nullptr, "nobody", "sees", [] {});
  window->close();
  presenter_.updateProgressWindow(window_, {"too late", std::nullopt, std::nullopt});
  EXPECT_EQ(seen(*window), "again|status|0.25|-");
}

TEST_F(ProgressWindowPresenterTest, FindsViewsDepthFirstInOrder) {
  const auto make = [](auto view, const char* identifier) {
    view->identifier = identifier;
    return view;
  };
  const auto root = make(std::make_shared<RecordedBox>(), "x");
  const auto box = make(std::make_shared<RecordedBox>(), "x");
  const auto deep = make(std::make_shared<RecordedLabel>(), "x");
  const auto shallow = make(std::make_shared<RecordedLabel>(), "x");
  box->children = {make(std::make_shared<RecordedButton>(), "x"), deep};
  root->children = {make(std::make_shared<RecordedLabel>(), "y"), box, shallow};
  EXPECT_EQ(orvoUpdateProgressDescendant<Label>(*root, "x"), deep);
  EXPECT_EQ(orvoUpdateProgressDescendant<View>(*root, "x"), box);
  EXPECT_EQ(orvoUpdateProgressDescendant<Label>(*root, "X"), nullptr);
  EXPECT_EQ(orvoUpdateProgressDescendant<ProgressIndicator>(*root, "x"), nullptr);
}

TEST_F(ProgressWindowPresenterTest, ServesAnInstallationUntilItIsClosed) {
  PresentedProgressWindow progress(toolkit_, bundles_, "Downloading update…");
  const auto window = toolkit_->openWindow();
  progress.update({"Extracting update…", std::nullopt, std::nullopt});
  EXPECT_EQ(seen(*window), "Extracting update…|-|animated|-");
  bool isPressed = false;
  progress.showReadyToInstallAndRelaunch("Ready to Install", "Go", [&] { isPressed = true; });
  progress.requestUserAttention();
  EXPECT_TRUE(window->click("Go"));
  EXPECT_TRUE(isPressed);
  progress.bringToFront();
  EXPECT_EQ(window->steps.size(), 3U);

  window->setWillCloseHandler([&] { progress.update({"closing", std::nullopt, std::nullopt}); });
  progress.close();
  EXPECT_FALSE(window->isOpen);
  progress.update({"late", std::nullopt, std::nullopt});
  progress.showReadyToInstallAndRelaunch("late", "late", [] {});
  progress.requestUserAttention();
  progress.bringToFront();
  progress.close();
  EXPECT_EQ(seen(*window), "Ready to Install|-|1.00|Go (disabled)");
  EXPECT_EQ(toolkit_->attentionRequests, 1);
}

}  // namespace
}  // namespace pellam

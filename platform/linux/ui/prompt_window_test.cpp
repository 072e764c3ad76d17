#include <gtk/gtk.h>

#include <algorithm>

#include "tests/support/window_test_fixture.h"

namespace pellam {

namespace {

using robot::Rectangle;
using Events = std::vector<std::string>;

class PromptWindow : public WindowTest {};

TEST_F(PromptWindow, LiesAsItIsDescribed) {
  const Prompt prompt = showPrompt(promptContent());
  GtkWidget* window = GTK_WIDGET(prompt.widget());
  const Rectangle content = robot::placeInWindow(gtk_window_get_child(prompt.widget()));
  EXPECT_EQ(content.width, 600);
  EXPECT_EQ(content.height, 500);

  const Rectangle logo = robot::placeInWindow(robot::findOfType(window, GTK_TYPE_IMAGE));
  EXPECT_EQ(logo.width, 84);
  EXPECT_EQ(logo.height, 84);
  EXPECT_EQ(logo.x, (120 - 84) / 2);
  const Rectangle headline = robot::placeInWindow(robot::findText(window, "A new version is available!"));
  EXPECT_EQ(headline.x, 120);
  EXPECT_EQ(headline.y, 16);
  EXPECT_EQ(headline.x + headline.width, 600 - 16);
  const Rectangle sentence = robot::placeInWindow(robot::findText(window, promptContent().sentence));
  EXPECT_EQ(sentence.x, 120);
  EXPECT_EQ(sentence.y, headline.y + headline.height + 8);
  const Rectangle caption = robot::placeInWindow(robot::findText(window, "Release Notes:"));
  EXPECT_EQ(caption.y, sentence.y + sentence.height + 8);
  const Rectangle box = robot::placeInWindow(robot::findOfType(window, GTK_TYPE_FRAME));
  EXPECT_EQ(box.x, 120);
  EXPECT_EQ(box.y, caption.y + caption.height + 8);
  EXPECT_EQ(box.x + box.width, 600 - 16);
  const Rectangle install = robot::placeInWindow(prompt.button("Install Update"));
  const Rectangle remind = robot::placeInWindow(prompt.button("Remind Me Later"));
  EXPECT_EQ(install.x + install.width, 600 - 16);
  EXPECT_EQ(install.y + install.height, 500 - 16);
  EXPECT_EQ(remind.x + remind.width, install.x - 16);
  EXPECT_EQ(box.y + box.height, install.y - 16);
  EXPECT_FALSE(gtk_widget_get_visible(prompt.button("Skip This Update")));
  EXPECT_EQ(gtk_window_get_focus(prompt.widget()), prompt.button("Install Update"));
  const Rectangle screen = robot::placeOnScreen(gtk_window_get_child(prompt.widget()));
  EXPECT_NEAR(screen.x + screen.width / 2, 1280 / 2, 30) << "centred, give or take the frame";
  EXPECT_NEAR(screen.y + screen.height / 2, 1024 / 2, 30);
}

TEST_F(PromptWindow, AnswersEachPressOnce) {
  struct Row {
    const char* what;
    std::function<void(const Prompt&)> act;
    Events events;
  };
  const Row rows[] = {
      {"a click on the first button",
       [](auto& p) { robot::click(p.button("Install Update")); },
       {"Install Update"}},
      {"a click on the second",
       [](auto& p) { robot::click(p.button("Remind Me Later")); },
       {"Remind Me Later"}},
      {"Return", [](auto&) { robot::press("Return"); }, {"Install Update"}},
      {"Return in the notes",
       [](auto& p) {
         robot::click(robot::findOfType(GTK_WIDGET(p.widget()), GTK_TYPE_FRAME));
         robot::press("Return");
       },
       {"Install Update"}},
      {"Return on another button",
       [](auto& p) {
         gtk_widget_grab_focus(p.button("Remind Me Later"));
         robot::press("Return");
       },
       {"Remind Me Later"}},
      {"Escape", [](auto&) { robot::press("Escape"); }, {}},
      {"the window manager", [](auto& p) { robot::closeByWindowManager(p.widget()); }, {"closed"}},
      {"performClose, twice",
       [](auto& p) {
         p.window->performClose();
         p.window->performClose();
       },
       {"closed"}},
      {"close and then the window manager's late word",
       [](auto& p) {
         p.window->close();
         EXPECT_EQ(p.window->contentView(), nullptr);
       },
       {"closed"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const Prompt prompt = showPrompt(promptContent());
    row.act(prompt);
    expectEvents(prompt, row.events);
  }
}

TEST_F(PromptWindow, LettingItGoClosesItSilently) {
  Prompt prompt = showPrompt(promptContent());
  prompt.window.reset();
  EXPECT_EQ(prompt.widget(), nullptr);
  expectEvents(prompt, Events{});
}

TEST_F(PromptWindow, AHandlerMayLetGoOfItsWindow) {
  auto window = toolkit_->makeWindow({"Editor 2.0", {400, 300}, std::nullopt, true, true});
  bool isTold = false;
  window->setWillCloseHandler([&] {
    window.reset();
    isTold = true;
  });
  window->makeKeyAndOrderFront();
  ASSERT_TRUE(robot::waitUntil([] { return robot::windowTitled("Editor 2.0") != nullptr; }));
  robot::closeByWindowManager(robot::windowTitled("Editor 2.0"));
  EXPECT_TRUE(isTold);
  EXPECT_EQ(robot::windowTitled("Editor 2.0"), nullptr);
}

TEST_F(PromptWindow, IsNeverSmallerThanItsMinimum) {
  const Prompt prompt = showPrompt(promptContent());
  GtkWidget* content = gtk_window_get_child(prompt.widget());
  robot::resizeByWindowManager(prompt.widget(), 200, 100);
  EXPECT_EQ(gtk_widget_get_width(content), 600);
  EXPECT_EQ(gtk_widget_get_height(content), 500);
  robot::resizeByWindowManager(prompt.widget(), 800, 650);
  EXPECT_TRUE(robot::waitUntil(
      [&] { return gtk_widget_get_width(content) == 800 && gtk_widget_get_height(content) == 650; }));
}

TEST_F(PromptWindow, StaysOnTheScreenWhateverItShows) {
  std::string words;
  std::string lines;
  for (int at = 0; at < 2000; ++at) words += "word ";
  for (int at = 0; at < 2000; ++at) lines += "line\n";
  const std::string hostile[] = {words,
                                 lines,
                                 std::string(10'000, 'W'),
                                 "<b>bold</b> &amp; <span size='99999'>big</span>",
                                 "\xff\xfe not UTF-8 \xc3",
                                 "نسخة جديدة متاحة من المحرر! הגרסה החדשה"};
  for (const std::string& text : hostile) {
    SCOPED_TRACE(text.substr(0, 40));
    UpdatePromptContent content = promptContent();
    content.headline = content.sentence = content.caption = text;
    content.buttons[1].title = text;
    content.logoImageName = text;
    const Prompt prompt = showPrompt(content);
    const Rectangle place = robot::placeOnScreen(gtk_window_get_child(prompt.widget()));
    EXPECT_LE(place.width, 620);
    EXPECT_LE(place.height, 560);
    EXPECT_GE(robot::placeInWindow(robot::findOfType(GTK_WIDGET(prompt.widget()), GTK_TYPE_FRAME)).height,
              200);
    robot::click(prompt.button("Install Update"));
    expectEvents(prompt, Events{"Install Update"});
  }
  const Prompt marked = [&] {
    UpdatePromptContent content = promptContent();
    content.headline = hostile[3];
    return showPrompt(content);
  }();
  EXPECT_NE(robot::findText(GTK_WIDGET(marked.widget()), hostile[3]), nullptr) << "markup is text";
}

TEST_F(PromptWindow, IsNoLargerThanTheScreen) {
  for (const double length : {1e9, 1e308, std::numeric_limits<double>::infinity()}) {
    const Prompt prompt = showPrompt(promptContent(), {length, length});
    GtkWidget* content = gtk_window_get_child(prompt.widget());
    EXPECT_LE(gtk_widget_get_width(content), 1280);
    EXPECT_LE(gtk_widget_get_height(content), 1024);
  }
  for (const double length : {0.0, -300.0, std::numeric_limits<double>::quiet_NaN()}) {
    const Prompt prompt = showPrompt(promptContent(), {length, length});
    robot::click(prompt.button("Install Update"));
    expectEvents(prompt, Events{"Install Update"});  // the content still has its room
  }
}

TEST_F(PromptWindow, RightToLeftLayoutIsTheMirrorImage) {
  gtk_widget_set_default_direction(GTK_TEXT_DIR_RTL);
  const Prompt prompt = showPrompt(promptContent());
  GtkWidget* window = GTK_WIDGET(prompt.widget());
  const Rectangle logo = robot::placeInWindow(robot::findOfType(window, GTK_TYPE_IMAGE));
  const Rectangle install = robot::placeInWindow(prompt.button("Install Update"));
  const Rectangle remind = robot::placeInWindow(prompt.button("Remind Me Later"));
  gtk_widget_set_default_direction(GTK_TEXT_DIR_LTR);
  EXPECT_EQ(logo.x, 480 + (120 - 84) / 2);
  EXPECT_EQ(install.x, 16);
  EXPECT_EQ(remind.x, install.x + install.width + 16);
}

TEST_F(PromptWindow, FloatsWhileTheApplicationIsActiveAndComesBackWithIt) {
  showMainWindow();
  const Prompt prompt = showPrompt(promptContent());
  GtkWidget* widget = GTK_WIDGET(prompt.widget());
  gtk_window_present(mainWindow_);
  ASSERT_TRUE(robot::waitUntil([&] { return gtk_window_is_active(mainWindow_) != FALSE; }));
  robot::handleEventsFor(std::chrono::milliseconds(250));
  EXPECT_TRUE(gtk_widget_get_mapped(widget)) << "another window of the same application is active";
  const Rectangle before = robot::placeOnScreen(gtk_window_get_child(prompt.widget()));
  robot::click(prompt.button("Remind Me Later"));
  expectEvents(prompt, Events{"Remind Me Later"});  // it lies above the active window

  GSubprocess* other = g_subprocess_new(G_SUBPROCESS_FLAGS_STDERR_SILENCE, nullptr, "xmessage", "-timeout",
                                        "30", "another application", nullptr);
  ASSERT_NE(other, nullptr);
  EXPECT_TRUE(robot::waitUntil([&] { return gtk_widget_get_mapped(widget) == FALSE; }));
  const auto isAttentionAsked = [&] {
    return robot::hasWord(mainWindow_, "_NET_WM_STATE", "_NET_WM_STATE_DEMANDS_ATTENTION");
  };
  EXPECT_FALSE(isAttentionAsked());
  toolkit_->requestUserAttention();
  EXPECT_TRUE(robot::waitUntil(isAttentionAsked));
  EXPECT_FALSE(gtk_window_is_active(mainWindow_)) << "the focus stays where it is";
  g_subprocess_force_exit(other);
  g_object_unref(other);
  gtk_window_present(mainWindow_);
  EXPECT_TRUE(robot::waitUntil([&] { return gtk_widget_get_mapped(widget) != FALSE; }));
  robot::handleEventsFor(std::chrono::milliseconds(150));
  const Rectangle after =
      robot::placeOnScreen(gtk_window_get_child(prompt.window ? prompt.widget() : nullptr));
  EXPECT_EQ(after.x, before.x);
  EXPECT_EQ(after.y, before.y);
  expectEvents(prompt, Events{"Remind Me Later"});  // hiding is no closing
}

}  // namespace

}  // namespace pellam

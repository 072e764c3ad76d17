#include "platform/linux/ui/view_handles.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/linux/ui/gtk_object.h"

namespace pellam {

namespace {

constexpr const char* textKey = "pellam-text";
constexpr const char* handlerKey = "pellam-action-handler";
constexpr const char* progressKey = "pellam-progress";
constexpr guint pulseMilliseconds = 80;
constexpr int longestButtonTitle = 40;
// A longer paragraph, or one with more line breaks, scrolls in a room of a fixed height.
constexpr std::size_t longestParagraph = 800;
constexpr std::ptrdiff_t mostLineBreaks = 8;
constexpr int scrollingParagraphHeight = 120;
// Breaking a line between words first takes a time that grows with the square of a word's length.
constexpr std::size_t longestWord = 400;

bool hasEndlessWord(const std::string& text) {
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find_first_of(" \t\n", begin), text.size());
    if (end - begin > longestWord) return true;
    begin = end + 1;
  }
  return false;
}

class WidgetHolder {
 public:
  explicit WidgetHolder(GtkWidget* widget) : widget_(widget) {}
  [[nodiscard]] GtkWidget* widget() const { return widget_.get(); }

 private:
  ObjectReference<GtkWidget> widget_;
};

// What all handles do. The kinds below are leaves: what their widgets are made of is no view of ours.
template <typename Kind>
class Handle : public Kind, public WidgetHolder {
 public:
  explicit Handle(GtkWidget* widget) : WidgetHolder(widget) {}

  [[nodiscard]] std::string accessibilityIdentifier() const override {
    // A widget without a name answers with its type's.
    const std::string name = gtk_widget_get_name(widget());
    return name == G_OBJECT_TYPE_NAME(widget()) ? std::string() : name;
  }
  [[nodiscard]] std::vector<std::shared_ptr<View>> subviews() const override { return {}; }
  void removeAllSubviews() override {}
  [[nodiscard]] bool isHidden() const override { return gtk_widget_get_visible(widget()) == FALSE; }
  void setHidden(bool isHidden) override { gtk_widget_set_visible(widget(), isHidden ? FALSE : TRUE); }
};

class ContainerHandle final : public Handle<View> {
 public:
  using Handle::Handle;
  [[nodiscard]] std::vector<std::shared_ptr<View>> subviews() const override {
    std::vector<std::shared_ptr<View>> views;
    for (GtkWidget* child = gtk_widget_get_first_child(widget()); child != nullptr;
         child = gtk_widget_get_next_sibling(child)) {
      views.push_back(makeViewHandle(child));
    }
    return views;
  }
  void removeAllSubviews() override {
    while (GtkWidget* child = gtk_widget_get_first_child(widget())) {
      if (GTK_IS_BOX(widget())) {
        gtk_box_remove(GTK_BOX(widget()), child);
      } else {
        gtk_widget_unparent(child);
      }
    }
  }
};

class LabelHandle final : public Handle<Label> {
 public:
  using Handle::Handle;
  [[nodiscard]] std::string text() const override {
    const std::string* text = attachedValue<std::string>(widget(), textKey);
    return text == nullptr ? gtk_label_get_text(GTK_LABEL(widget())) : *text;
  }
  void setText(const std::string& text) override {
    attachValue(widget(), textKey, text);
    const bool isLine = gtk_label_get_wrap(GTK_LABEL(widget())) == FALSE;
    gtk_label_set_text(GTK_LABEL(widget()), (isLine ? displayableLine(text) : displayableText(text)).c_str());
  }
};

class ButtonHandle final : public Handle<Button> {
 public:
  using Handle::Handle;
  [[nodiscard]] std::string title() const override {
    const char* title = gtk_button_get_label(GTK_BUTTON(widget()));
    return title == nullptr ? "" : title;
  }
  void setTitle(const std::string& title) override {
    gtk_button_set_label(GTK_BUTTON(widget()), displayableLine(title).c_str());
    if (GtkWidget* label = gtk_button_get_child(GTK_BUTTON(widget())); GTK_IS_LABEL(label)) {
      gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
      gtk_label_set_max_width_chars(GTK_LABEL(label), longestButtonTitle);
    }
  }
  [[nodiscard]] bool isEnabled() const override { return gtk_widget_get_sensitive(widget()) != FALSE; }
  void setEnabled(bool isEnabled) override { gtk_widget_set_sensitive(widget(), isEnabled ? TRUE : FALSE); }
  void setActionHandler(std::function<void(Button&)> handler) override {
    attachValue(widget(), handlerKey, std::move(handler));
  }
  // The layout gives every button the room that its title asks for.
  void sizeToFit() override { gtk_widget_queue_resize(widget()); }
};

// A bar's state, kept with its widget. While it is animated a timer pushes the bar on.
struct Progress {
  explicit Progress(GtkProgressBar* progressBar) : bar(progressBar) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { setTimer(false); }

  void show() {
    setTimer(isIndeterminate && isAnimating);
    if (timer != 0) {
      gtk_progress_bar_pulse(bar);
    } else {
      gtk_progress_bar_set_fraction(bar, isIndeterminate ? 0 : value);
    }
  }
  void setTimer(bool isOn) {
    if (isOn == (timer != 0)) return;
    if (!isOn) {
      g_source_remove(std::exchange(timer, 0U));
      return;
    }
    timer = g_timeout_add(
        pulseMilliseconds,
        [](gpointer data) -> gboolean {
          gtk_progress_bar_pulse(static_cast<GtkProgressBar*>(data));
          return G_SOURCE_CONTINUE;
        },
        bar);
  }

  GtkProgressBar* bar;
  bool isIndeterminate = true;
  bool isAnimating = false;
  double value = 0;
  guint timer = 0;
};

class ProgressHandle final : public Handle<ProgressIndicator> {
 public:
  explicit ProgressHandle(GtkWidget* widget) : Handle(widget) {
    if (attachedValue<std::unique_ptr<Progress>>(widget, progressKey) == nullptr) {
      attachValue(widget, progressKey, std::make_unique<Progress>(GTK_PROGRESS_BAR(widget)));
    }
  }
  [[nodiscard]] bool isIndeterminate() const override { return progress().isIndeterminate; }
  void setIndeterminate(bool isIndeterminate) override {
    progress().isIndeterminate = isIndeterminate;
    progress().show();
  }
  [[nodiscard]] double value() const override { return progress().value; }
  void setValue(double value) override {
    progress().value = value >= 0 ? std::min(value, 1.0) : 0;
    if (!progress().isIndeterminate) progress().show();
  }
  [[nodiscard]] bool isAnimating() const override { return progress().isAnimating; }
  void startAnimation() override {
    progress().isAnimating = true;
    progress().show();
  }
  void stopAnimation() override {
    progress().isAnimating = false;
    progress().show();
  }

 private:
  [[nodiscard]] Progress& progress() const {
    return **attachedValue<std::unique_ptr<Progress>>(widget(), progressKey);
  }
};

void buttonClicked(GtkButton* widget, gpointer) {
  runGuarded([&] {
    const auto* stored = attachedValue<std::function<void(Button&)>>(widget, handlerKey);
    if (stored == nullptr || !*stored) return;
    // The handler may replace itself, or close the window that holds it.
    const std::function<void(Button&)> handler = *stored;
    ButtonHandle button(GTK_WIDGET(widget));
    handler(button);
  });
}

}  // namespace

std::shared_ptr<View> makeViewHandle(GtkWidget* widget) {
  if (GTK_IS_LABEL(widget)) return std::make_shared<LabelHandle>(widget);
  if (GTK_IS_BUTTON(widget)) return std::make_shared<ButtonHandle>(widget);
  if (GTK_IS_PROGRESS_BAR(widget)) return std::make_shared<ProgressHandle>(widget);
  return std::make_shared<ContainerHandle>(widget);
}

GtkWidget* widgetOf(View& view) {
  const auto* holder = dynamic_cast<WidgetHolder*>(&view);
  return holder == nullptr ? nullptr : holder->widget();
}

GtkWidget* makeLineLabel(const std::string& text, const char* styleClass) {
  GtkWidget* label = gtk_label_new(nullptr);
  gtk_widget_add_css_class(label, styleClass);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
  // The line takes what room there is and asks for none.
  gtk_label_set_max_width_chars(GTK_LABEL(label), 1);
  gtk_widget_set_hexpand(label, TRUE);
  LabelHandle(label).setText(text);
  return label;
}

GtkWidget* makeParagraph(const std::string& text, const char* styleClass, int maximumWidth) {
  GtkWidget* label = gtk_label_new(nullptr);
  gtk_widget_add_css_class(label, styleClass);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  gtk_label_set_yalign(GTK_LABEL(label), 0);
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), hasEndlessWord(text) ? PANGO_WRAP_CHAR : PANGO_WRAP_WORD_CHAR);
  gtk_label_set_max_width_chars(GTK_LABEL(label), maximumWidth);
  gtk_label_set_selectable(GTK_LABEL(label), TRUE);
  gtk_widget_set_hexpand(label, TRUE);
  LabelHandle(label).setText(text);
  const bool isLong =
      text.size() > longestParagraph || std::count(text.begin(), text.end(), '\n') > mostLineBreaks;
  if (!isLong) return label;
  GtkWidget* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), label);
  gtk_scrolled_window_set_propagate_natural_width(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_widget_set_size_request(scroller, -1, scrollingParagraphHeight);
  return scroller;
}

GtkWidget* makePushButton(const std::string& title, std::function<void()> action) {
  GtkWidget* widget = gtk_button_new();
  ButtonHandle button(widget);
  button.setTitle(title);
  if (action) button.setActionHandler([action = std::move(action)](Button&) { action(); });
  g_signal_connect(widget, "clicked", G_CALLBACK(buttonClicked), nullptr);
  return widget;
}

void makeDefaultButton(GtkWidget* button) {
  auto* window = GTK_WINDOW(gtk_widget_get_root(button));
  gtk_widget_add_css_class(button, "suggested-action");
  gtk_window_set_default_widget(window, button);
  gtk_window_set_focus(window, button);
}

GtkWidget* makeProgressBar() {
  GtkWidget* bar = gtk_progress_bar_new();
  gtk_widget_add_css_class(bar, "pellam-bar");
  gtk_progress_bar_set_pulse_step(GTK_PROGRESS_BAR(bar), 0.05);
  const ProgressHandle handle(bar);
  return bar;
}

}  // namespace pellam

#include <cmath>
#include <memory>
#include <string>

#include "foundation/item_path.h"
#include "platform/linux/ui/gtk_object.h"
#include "platform/linux/ui/release_notes_view.h"
#include "platform/linux/ui/view_handles.h"
#include "platform/linux/ui/window_contents.h"

namespace pellam {

namespace {

constexpr int sentenceWidth = 60;  // characters, before the window makes room for more

int points(double value) { return static_cast<int>(std::lround(value)); }

void setMargins(GtkWidget* widget, int top, int trailing, int bottom, int leading) {
  gtk_widget_set_margin_top(widget, top);
  gtk_widget_set_margin_end(widget, trailing);
  gtk_widget_set_margin_bottom(widget, bottom);
  gtk_widget_set_margin_start(widget, leading);
}

GdkTexture* loadImage(const std::filesystem::path& resources, const std::string& name) {
  // A resource's name, never a path out of the bundle.
  if (!isPlainFileName(name)) return nullptr;
  for (const char* ending : {"", ".svg", "@2x.png", ".png", ".jpg", ".jpeg", ".tiff"}) {
    const std::filesystem::path file = resources / (name + ending);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) continue;
    if (GdkTexture* texture = gdk_texture_new_from_filename(file.c_str(), nullptr)) return texture;
  }
  return nullptr;
}

GtkWidget* makeColumn(const UpdatePromptContent& content, const std::filesystem::path& resources) {
  GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_widget_set_size_request(column, points(content.layout.columnWidth), -1);
  const auto logo = ObjectReference<GdkTexture>::adopt(loadImage(resources, content.logoImageName));
  if (!logo) return column;
  GtkWidget* image = gtk_image_new_from_paintable(GDK_PAINTABLE(logo.get()));
  gtk_image_set_pixel_size(GTK_IMAGE(image), points(content.layout.columnWidth * content.layout.logoScale));
  gtk_widget_set_halign(image, GTK_ALIGN_CENTER);
  gtk_widget_set_valign(image, GTK_ALIGN_START);
  gtk_widget_set_margin_top(image, points(content.layout.margin));
  gtk_accessible_update_property(GTK_ACCESSIBLE(image), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 displayableLine(content.logoImageName).c_str(), -1);
  gtk_box_append(GTK_BOX(column), image);
  return column;
}

// For a system that cannot confine a web view: the same question as a clicked link's, by a button.
GtkWidget* makeNotesLink(const UpdatePromptContent& content) {
  GtkWidget* button = makePushButton(content.releaseNotesLinkTitle,
                                     [ask = content.decidePolicy, page = content.releaseNotes] {
                                       if (ask) (void)ask(NavigationAction{true, page});
                                     });
  gtk_widget_set_halign(button, GTK_ALIGN_CENTER);
  gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
  gtk_widget_set_sensitive(button, content.releaseNotes ? TRUE : FALSE);
  return button;
}

GtkWidget* makeNotesBox(const UpdatePromptContent& content, bool isWebContentAllowed) {
  auto* frame =
      GTK_WIDGET(g_object_new(GTK_TYPE_FRAME, "accessible-role", GTK_ACCESSIBLE_ROLE_GROUP, nullptr));
  gtk_widget_add_css_class(frame, "pellam-notes");
  gtk_widget_set_size_request(frame, -1, points(content.layout.minimumNotesHeight));
  gtk_widget_set_vexpand(frame, TRUE);
  gtk_accessible_update_property(GTK_ACCESSIBLE(frame), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 displayableLine(content.caption).c_str(), -1);
  gtk_frame_set_child(GTK_FRAME(frame), isWebContentAllowed
                                            ? makeReleaseNotesView(content.releaseNotes, content.timeout,
                                                                   content.caption, content.decidePolicy)
                                            : makeNotesLink(content));
  return frame;
}

GtkWidget* makeTexts(const UpdatePromptContent& content, bool isWebContentAllowed) {
  GtkWidget* texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, points(content.layout.textSpacing));
  gtk_box_append(GTK_BOX(texts), makeLineLabel(content.headline, "pellam-headline"));
  gtk_box_append(GTK_BOX(texts), makeParagraph(content.sentence, "pellam-sentence", sentenceWidth));
  gtk_box_append(GTK_BOX(texts), makeLineLabel(content.caption, "pellam-caption"));
  gtk_box_append(GTK_BOX(texts), makeNotesBox(content, isWebContentAllowed));
  gtk_widget_set_hexpand(texts, TRUE);
  return texts;
}

struct ButtonRow {
  GtkWidget* row = nullptr;
  GtkWidget* defaultButton = nullptr;
};

ButtonRow makeButtons(const UpdatePromptContent& content) {
  ButtonRow buttons{gtk_box_new(GTK_ORIENTATION_HORIZONTAL, points(content.layout.margin)), nullptr};
  gtk_widget_set_halign(buttons.row, GTK_ALIGN_END);
  for (const UpdatePromptButton& description : content.buttons) {
    GtkWidget* button = makePushButton(description.title, description.action);
    gtk_widget_set_name(button, description.accessibilityIdentifier.c_str());
    gtk_widget_set_visible(button, description.isHidden ? FALSE : TRUE);
    gtk_box_prepend(GTK_BOX(buttons.row), button);
    if (description.isDefault) buttons.defaultButton = button;
  }
  return buttons;
}

}  // namespace

void fillWithPrompt(GtkWidget* contentView, const UpdatePromptContent& content,
                    const std::filesystem::path& resources, bool isWebContentAllowed) {
  const int margin = points(content.layout.margin);
  GtkWidget* upper = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  gtk_box_append(GTK_BOX(contentView), upper);
  gtk_widget_set_vexpand(upper, TRUE);
  gtk_box_append(GTK_BOX(upper), makeColumn(content, resources));
  GtkWidget* texts = makeTexts(content, isWebContentAllowed);
  setMargins(texts, margin, margin, 0, 0);
  gtk_box_append(GTK_BOX(upper), texts);

  const ButtonRow buttons = makeButtons(content);
  setMargins(buttons.row, margin, margin, margin, margin);
  gtk_box_append(GTK_BOX(contentView), buttons.row);
  // The selectable sentence would take the focus otherwise.
  if (buttons.defaultButton != nullptr) makeDefaultButton(buttons.defaultButton);
}

}  // namespace pellam

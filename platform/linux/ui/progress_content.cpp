#include <cmath>

#include "platform/linux/ui/view_handles.h"
#include "platform/linux/ui/window_contents.h"

namespace pellam {

namespace {

void addRow(GtkWidget* stack, GtkWidget* row, const std::string& identifier) {
  gtk_widget_set_name(row, identifier.c_str());
  gtk_box_append(GTK_BOX(stack), row);
}

}  // namespace

void fillWithProgress(GtkWidget* contentView, const ProgressContent& content) {
  const auto margin = static_cast<int>(std::lround(content.layout.margin));
  GtkWidget* stack =
      gtk_box_new(GTK_ORIENTATION_VERTICAL, static_cast<int>(std::lround(content.layout.spacing)));
  gtk_widget_set_valign(stack, GTK_ALIGN_CENTER);
  gtk_widget_set_vexpand(stack, TRUE);
  gtk_widget_set_margin_start(stack, margin);
  gtk_widget_set_margin_end(stack, margin);
  gtk_box_append(GTK_BOX(contentView), stack);

  GtkWidget* title = makeLineLabel("", "pellam-title");
  addRow(stack, title, content.titleIdentifier);
  GtkWidget* status = makeLineLabel("", "pellam-status");
  gtk_widget_set_visible(status, FALSE);
  addRow(stack, status, content.statusIdentifier);

  GtkWidget* bar = makeProgressBar();
  gtk_widget_set_size_request(bar, -1, static_cast<int>(std::lround(content.layout.barHeight)));
  gtk_accessible_update_relation(GTK_ACCESSIBLE(bar), GTK_ACCESSIBLE_RELATION_LABELLED_BY, title, nullptr,
                                 GTK_ACCESSIBLE_RELATION_DESCRIBED_BY, status, nullptr, -1);
  addRow(stack, bar, content.barIdentifier);
  const auto indicator = std::dynamic_pointer_cast<ProgressIndicator>(makeViewHandle(bar));
  indicator->startAnimation();

  GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  GtkWidget* button = makePushButton("", nullptr);
  gtk_widget_set_visible(button, FALSE);
  addRow(row, button, content.buttonIdentifier);
  // An empty row would still take the space between two rows.
  g_object_bind_property(button, "visible", row, "visible", G_BINDING_SYNC_CREATE);
  gtk_box_append(GTK_BOX(stack), row);
}

}  // namespace pellam

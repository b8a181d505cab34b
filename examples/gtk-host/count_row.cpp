#include "count_row.h"

namespace gtk_host {

namespace {

/// The system's ordinary priority less five: the worker makes room for the window.
constexpr int kPriority = 26;

}  // namespace

CountRow::CountRow(Actions& actions)
    : actions_(actions),
      row_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12)),
      bar_(GTK_PROGRESS_BAR(g_object_ref_sink(gtk_progress_bar_new()))) {
  actions_.Add("count", OnCount, this);
  actions_.AddValue("progress", g_variant_new_int32(0));
  gtk_progress_bar_set_show_text(bar_, TRUE);
  gtk_progress_bar_set_text(bar_, "a worker thread has not started");
  gtk_widget_set_hexpand(GTK_WIDGET(bar_), TRUE);
  gtk_widget_set_valign(GTK_WIDGET(bar_), GTK_ALIGN_CENTER);
  GtkWidget* button = gtk_button_new_with_label("Count primes");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(button), "app.count");
  gtk_box_append(GTK_BOX(row_), GTK_WIDGET(bar_));
  gtk_box_append(GTK_BOX(row_), button);
}

CountRow::~CountRow() { g_object_unref(bar_); }

void CountRow::OnCount(GSimpleAction*, GVariant*, gpointer self) {
  CountRow& row = *static_cast<CountRow*>(self);
  row.actions_.Enable("count", false);
  gtk_progress_bar_set_text(row.bar_, "a worker thread counts primes");
  // A thread that has made its last report may need a moment to end.
  row.counter_.JoinThread();
  row.counter_.Start(kPriority);
}

void CountRow::SetProgress(double fraction) {
  gtk_progress_bar_set_fraction(bar_, fraction);
  actions_.SetValue("progress", g_variant_new_int32(static_cast<int>(fraction * 100)));
}

// The worker's last report.
void CountRow::SetStatus(const char* text, int) {
  gtk_progress_bar_set_text(bar_, text);
  actions_.Enable("count", true);
}

}  // namespace gtk_host

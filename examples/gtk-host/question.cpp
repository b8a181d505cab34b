#include "question.h"

namespace gtk_host {

Question::Question(GtkOverlay* overlay, GtkWidget* content, Actions& actions, LProcessInterface& process)
    : content_(content),
      actions_(actions),
      process_(process),
      scrim_(gtk_center_box_new()),
      text_(gtk_label_new("")),
      detail_(gtk_label_new("")),
      accept_(gtk_button_new_with_label("Buy")) {
  actions_.Add("accept", OnAccept, this);
  actions_.Add("decline", OnDecline, this);
  gtk_widget_add_css_class(scrim_, "scrim");
  gtk_center_box_set_center_widget(GTK_CENTER_BOX(scrim_), MakeCard());
  gtk_overlay_set_child(overlay, content);
  gtk_overlay_add_overlay(overlay, scrim_);
  Show(false);
}

GtkWidget* Question::MakeCard() {
  auto* card = GTK_WIDGET(g_object_new(GTK_TYPE_BOX, "accessible-role", GTK_ACCESSIBLE_ROLE_DIALOG, "orientation",
                                       GTK_ORIENTATION_VERTICAL, "spacing", 18, "valign", GTK_ALIGN_CENTER, nullptr));
  gtk_widget_add_css_class(card, "card");
  gtk_widget_add_css_class(text_, "title-3");
  gtk_widget_add_css_class(detail_, "dim-label");
  gtk_widget_add_css_class(accept_, "suggested-action");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(accept_), "app.accept");
  GtkWidget* decline = gtk_button_new_with_label("Not now");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(decline), "app.decline");
  GtkWidget* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
  gtk_box_set_homogeneous(GTK_BOX(buttons), TRUE);
  gtk_box_append(GTK_BOX(buttons), decline);
  gtk_box_append(GTK_BOX(buttons), accept_);
  gtk_box_append(GTK_BOX(card), text_);
  gtk_box_append(GTK_BOX(card), detail_);
  gtk_box_append(GTK_BOX(card), buttons);
  return card;
}

bool Question::Ask(const std::string& text, const std::string& detail) {
  constexpr unsigned int no_limit = 0xFFFFFFFF;
  gtk_label_set_text(GTK_LABEL(text_), text.c_str());
  gtk_label_set_text(GTK_LABEL(detail_), detail.c_str());
  answered_.Reset();
  yes_ = false;
  Show(true);
  // GTK 4 has no dialog that blocks, and needs none: this wait turns its loop.
  const bool answered = process_.ProcessWaitSignal(answered_, no_limit) == 0;
  Show(false);
  return answered && yes_;
}

void Question::Show(bool shown) {
  gtk_widget_set_visible(scrim_, shown);
  gtk_widget_set_sensitive(content_, !shown);
  actions_.Enable("accept", shown);
  actions_.Enable("decline", shown);
  if (shown) gtk_widget_grab_focus(accept_);
}

void Question::OnAccept(GSimpleAction*, GVariant*, gpointer self) { static_cast<Question*>(self)->Answer(true); }
void Question::OnDecline(GSimpleAction*, GVariant*, gpointer self) { static_cast<Question*>(self)->Answer(false); }

void Question::Answer(bool yes) {
  yes_ = yes;
  answered_.Signal();
}

}  // namespace gtk_host

#pragma once

#include <gtk/gtk.h>
#include <tillvane/tillvane.h>

#include <string>

#include "actions.h"

namespace gtk_host {

/// The dialog in which the store's question is asked: a card above the window's content, with "Buy" and "Not now",
/// which are the actions `accept` and `decline`.
class Question {
 public:
  /// \param overlay gets the content as its child and the dialog above it
  /// \param content cannot be used while the question is there
  /// \param process waits for the answer, and ends the wait when it is stopped; it lives longer than this
  Question(GtkOverlay* overlay, GtkWidget* content, Actions& actions, LProcessInterface& process);

  /// Returns when the user has answered; the main loop goes on meanwhile. \return false also when it was stopped
  bool Ask(const std::string& text, const std::string& detail);

 private:
  static void OnAccept(GSimpleAction* action, GVariant* parameter, gpointer self);
  static void OnDecline(GSimpleAction* action, GVariant* parameter, gpointer self);
  GtkWidget* MakeCard();
  void Show(bool shown);
  void Answer(bool yes);

  GtkWidget* content_;
  Actions& actions_;
  LProcessInterface& process_;
  GtkWidget* scrim_;
  GtkWidget* text_;
  GtkWidget* detail_;
  GtkWidget* accept_;
  LSignalObject answered_;
  bool yes_ = false;
};

}  // namespace gtk_host

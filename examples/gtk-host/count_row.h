#pragma once

#include <gtk/gtk.h>
#include <tillvane/tillvane.h>

#include "actions.h"
#include "window-shop/prime_counter.h"

namespace gtk_host {

/// The worker's place in the window: the action `count` starts the thread, whose reports arrive here on the main
/// thread, also while the window waits for the store. The percents done can be read as `progress`.
class CountRow : private LProcessInterfaceVoid {
 public:
  explicit CountRow(Actions& actions);
  ~CountRow();
  CountRow(const CountRow&) = delete;
  CountRow& operator=(const CountRow&) = delete;

  /// Belongs to whichever widget it is put into.
  GtkWidget* Widget() const { return row_; }

 private:
  static void OnCount(GSimpleAction* action, GVariant* parameter, gpointer self);

  void SetProgress(double fraction) override;
  void SetStatus(const char* text, int value) override;

  Actions& actions_;
  GtkWidget* row_;
  GtkProgressBar* bar_;  ///< kept, because a report may arrive when the window has been closed
  // The last member: it ends first, and with it all that it reports.
  window_shop::PrimeCounter counter_{*this};
};

}  // namespace gtk_host

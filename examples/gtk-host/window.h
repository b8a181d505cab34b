#pragma once

#include <gtk/gtk.h>

#include <string>

#include "actions.h"
#include "count_row.h"
#include "question.h"
#include "window-shop/host_process.h"
#include "window-shop/shop.h"

namespace gtk_host {

/// The window: a button with the price, a spinner while the store is waited for, the results in words.
///
/// Its actions are `price`, `buy`, `restore` and `cancel`; `words` and `frames`, how often the window was drawn while
/// it waited, can be read. Main thread only; it lives until the application's loop has ended.
class Window {
 public:
  explicit Window(GtkApplication* application);
  ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  void Present();
  /// Stops what it waits for, then closes.
  void Close();

 private:
  using Step = std::string (window_shop::Shop::*)();

  static void OnPrice(GSimpleAction* action, GVariant* parameter, gpointer self);
  static void OnBuy(GSimpleAction* action, GVariant* parameter, gpointer self);
  static void OnRestore(GSimpleAction* action, GVariant* parameter, gpointer self);
  static void OnCancel(GSimpleAction* action, GVariant* parameter, gpointer self);
  static gboolean OnIdle(gpointer self);
  static gboolean OnFrame(GtkWidget* widget, GdkFrameClock* clock, gpointer self);
  static gboolean OnCloseRequest(GtkWindow* window, gpointer self);

  void FillHeader();
  void FillContent();
  void RunSoon(Step step, const char* words);
  void Run();
  void SetBusy(bool busy);
  void SetWords(const std::string& words);
  void ShowPrice();

  Actions actions_;
  window_shop::HostProcess process_;
  GtkWindow* window_;
  GtkOverlay* overlay_;
  GtkWidget* content_;
  GtkWidget* sell_;
  GtkWidget* spinner_;
  GtkWidget* words_;
  GtkWidget* frames_;
  Question question_;
  CountRow count_row_;
  window_shop::Shop shop_;

  Step step_ = nullptr;
  guint idle_ = 0;
  guint tick_ = 0;
  int frame_count_ = 0;
  bool busy_ = false;
  bool closing_ = false;
};

}  // namespace gtk_host

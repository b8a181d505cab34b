// A host with a GTK window: `gtk_host NAME`. It says on standard error what went wrong and ends with 0 when nothing
// did, with 77 when there is no display.

#include <gtk/gtk.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/platform/event_queue.h>

namespace {

using support::kLongMs;
using support::kSoonMs;

int failures = 0;

void Expect(bool is_true, const char* what) {
  if (is_true) return;
  std::fprintf(stderr, "not so: %s\n", what);
  ++failures;
}

/// A progress window: a Cancel button, and a picture that is drawn anew with every frame.
class Window {
 public:
  Window() : window_(gtk_window_new(GTK_WINDOW_TOPLEVEL)), button_(gtk_button_new_with_label("Cancel")) {
    g_signal_connect(button_, "clicked", G_CALLBACK(&Window::OnClicked), this);
    gtk_container_add(GTK_CONTAINER(window_), button_);
    gtk_widget_add_tick_callback(button_, &Window::OnFrame, this, nullptr);
    gtk_widget_show_all(window_);
  }
  ~Window() { gtk_widget_destroy(window_); }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  /// Presses the button and lets it go, as a user does: through the display.
  void PressLater(guint ms) { g_timeout_add(ms, &Window::OnPressTime, this); }

  support::StopFlag handler;
  int frames = 0;

 private:
  static gboolean OnPressTime(gpointer data) {
    auto& self = *static_cast<Window*>(data);
    GdkWindow* window = gtk_button_get_event_window(GTK_BUTTON(self.button_));
    gdk_test_simulate_button(window, 5, 5, 1, GdkModifierType{}, GDK_BUTTON_PRESS);
    gdk_test_simulate_button(window, 5, 5, 1, GdkModifierType{}, GDK_BUTTON_RELEASE);
    return G_SOURCE_REMOVE;
  }
  static void OnClicked(GtkButton*, gpointer data) { static_cast<Window*>(data)->handler.stop = true; }
  static gboolean OnFrame(GtkWidget* widget, GdkFrameClock*, gpointer data) {
    ++static_cast<Window*>(data)->frames;
    gtk_widget_queue_draw(widget);
    return G_SOURCE_CONTINUE;
  }

  GtkWidget* window_;
  GtkWidget* button_;
};

constexpr unsigned int kFloodKind = 1;
constexpr unsigned int kQuitKind = 2;

bool PostAnother(platform::Event*, void*) { return LEventQueuePost(1, kFloodKind, platform::kHighPriority); }

bool QuitGtk(platform::Event*, void*) {
  gtk_main_quit();
  return true;
}

void CancelWaits(bool is_flooded) {
  platform::InstallEventHandler(1, kFloodKind, &PostAnother, nullptr);
  for (const support::Wait wait : support::kWaits) {
    Window window;
    LSignalObject never;
    if (is_flooded) PostAnother(nullptr, nullptr);
    window.PressLater(300);
    const support::Stopwatch watch;
    Expect(RunWait(wait, window.handler, never, kLongMs) == 1, "the button ends the wait");
    Expect(watch.Ms() < kSoonMs, "well before its time");
    Expect(window.frames >= 3, "the window is drawn meanwhile");
    platform::FlushEvents([](platform::Event*, void*) { return true; }, nullptr);
  }
}

void RunMain() {
  platform::InstallEventHandler(1, kQuitKind, &QuitGtk, nullptr);
  const Window window;
  const support::Later later(100, [] { LEventQueuePost(1, kQuitKind, platform::kStandardPriority); });
  const support::Stopwatch watch;
  gtk_main();
  Expect(watch.Ms() < kSoonMs, "GTK's loop dispatches events");
}

}  // namespace

int main(int argc, char** argv) {
  if (!gtk_init_check(nullptr, nullptr)) return 77;
  const char* name = argc == 2 ? argv[1] : "";
  if (std::strcmp(name, "cancel") == 0) {
    CancelWaits(false);
  } else if (std::strcmp(name, "cancel-flood") == 0) {
    CancelWaits(true);
  } else if (std::strcmp(name, "main") == 0) {
    RunMain();
  } else {
    return 99;
  }
  return failures;
}

// A host with a GTK 4 window: it sells itself through the store bridge, and its window is never still meanwhile.
//
// Read window.cpp for the window's side, ../window-shop/shop.cpp for the store's, question.cpp for the store's question
// in a dialog, and count_row.cpp for a worker thread that reports to the window. GTK's loop is the one that the library
// waits with: nothing here connects the two.

#include <glib-unix.h>
#include <gtk/gtk.h>
#include <tillvane/tillvane.h>

#include <csignal>
#include <memory>

#include "window.h"

namespace {

/// One window a process; a second start shows it again.
class Host {
 public:
  Host() : application_(gtk_application_new("org.example.storefront", GApplicationFlags{})) {
    g_signal_connect(application_, "activate", G_CALLBACK(&Host::OnActivate), this);
    // Ctrl-C and the session's end close the window as its user does. These handlers take the place of the library's.
    for (const int signal : {SIGINT, SIGTERM}) g_unix_signal_add(signal, OnSignal, this);
  }
  ~Host() {
    window_.reset();
    g_object_unref(application_);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  int Run(int argc, char** argv) { return g_application_run(G_APPLICATION(application_), argc, argv); }

 private:
  static void OnActivate(GApplication*, gpointer self) {
    Host& host = *static_cast<Host*>(self);
    if (host.window_ == nullptr) host.window_ = std::make_unique<gtk_host::Window>(host.application_);
    host.window_->Present();
  }

  static gboolean OnSignal(gpointer self) {
    Host& host = *static_cast<Host*>(self);
    if (host.window_ != nullptr) host.window_->Close();
    return G_SOURCE_CONTINUE;
  }

  GtkApplication* application_;
  std::unique_ptr<gtk_host::Window> window_;
};

}  // namespace

int main(int argc, char** argv) {
  LThreadRunOnMainThread::Init();
  const int status = Host().Run(argc, argv);
  LThreadRunOnMainThread::Destroy();
  return status;
}

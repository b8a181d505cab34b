#include "window.h"

namespace gtk_host {

namespace {

constexpr char kStyle[] =
    ".scrim { background: alpha(black, 0.25); }"
    ".card { background: @theme_bg_color; padding: 24px; border-radius: 14px; margin: 24px;"
    "        box-shadow: 0 4px 18px alpha(black, 0.35); }"
    ".sell { padding: 10px 28px; font-weight: bold; }";

void LoadStyle(GtkWidget* widget) {
  GtkCssProvider* provider = gtk_css_provider_new();
  gtk_css_provider_load_from_data(provider, kStyle, -1);
  gtk_style_context_add_provider_for_display(gtk_widget_get_display(widget), GTK_STYLE_PROVIDER(provider),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  g_object_unref(provider);
}

GtkWidget* MakeLabel(const char* text, const char* css_class) {
  GtkWidget* label = gtk_label_new(text);
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_justify(GTK_LABEL(label), GTK_JUSTIFY_CENTER);
  gtk_widget_add_css_class(label, css_class);
  return label;
}

GtkWidget* MakeButton(const char* text, const char* action) {
  GtkWidget* button = gtk_button_new_with_label(text);
  gtk_actionable_set_action_name(GTK_ACTIONABLE(button), action);
  return button;
}

}  // namespace

Window::Window(GtkApplication* application)
    : actions_(G_ACTION_MAP(application)),
      window_(GTK_WINDOW(gtk_application_window_new(application))),
      overlay_(GTK_OVERLAY(gtk_overlay_new())),
      content_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 14)),
      sell_(gtk_button_new()),
      spinner_(gtk_spinner_new()),
      words_(MakeLabel("", "words")),
      frames_(MakeLabel("", "dim-label")),
      question_(overlay_, content_, actions_, process_),
      count_row_(actions_),
      shop_(process_, "org.example.storefront", [this](const std::string& product, const std::string& price) {
        return question_.Ask("Buy for " + price + "?", product);
      }) {
  LoadStyle(GTK_WIDGET(window_));
  actions_.Add("price", OnPrice, this);
  actions_.Add("buy", OnBuy, this);
  actions_.Add("restore", OnRestore, this);
  actions_.Add("cancel", OnCancel, this);
  actions_.AddValue("words", g_variant_new_string(""));
  actions_.AddValue("frames", g_variant_new_int32(0));
  gtk_window_set_title(window_, "Storefront");
  gtk_window_set_default_size(window_, 460, 500);
  FillHeader();
  FillContent();
  gtk_window_set_child(window_, GTK_WIDGET(overlay_));
  g_signal_connect(window_, "close-request", G_CALLBACK(&Window::OnCloseRequest), this);
  ShowPrice();
  RunSoon(&window_shop::Shop::AskPrice, "Asking the store for the price…");
}

Window::~Window() {
  if (idle_ != 0) g_source_remove(idle_);
}

// The header stays in sight while a question is asked.
void Window::FillHeader() {
  GtkWidget* header = gtk_header_bar_new();
  gtk_header_bar_pack_start(GTK_HEADER_BAR(header), spinner_);
  gtk_window_set_titlebar(window_, header);
}

void Window::FillContent() {
  for (const char* side : {"margin-start", "margin-end", "margin-top", "margin-bottom"}) {
    g_object_set(content_, side, 24, nullptr);
  }
  gtk_widget_add_css_class(sell_, "suggested-action");
  gtk_widget_add_css_class(sell_, "sell");
  gtk_widget_set_halign(sell_, GTK_ALIGN_CENTER);
  GtkWidget* others = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
  gtk_widget_set_halign(others, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(others), MakeButton("Restore", "app.restore"));
  gtk_box_append(GTK_BOX(others), MakeButton("Cancel", "app.cancel"));
  gtk_widget_set_vexpand(words_, TRUE);
  gtk_widget_set_valign(words_, GTK_ALIGN_END);
  for (GtkWidget* widget :
       {MakeLabel("Storefront", "title-1"), MakeLabel("Everything this example has to offer, for good.", "dim-label"),
        sell_, others, words_, frames_, gtk_separator_new(GTK_ORIENTATION_HORIZONTAL), count_row_.Widget()}) {
    gtk_box_append(GTK_BOX(content_), widget);
  }
}

void Window::Present() { gtk_window_present(window_); }

void Window::Close() { gtk_window_close(window_); }

// The wait in which the store is asked is on the stack: it ends first.
gboolean Window::OnCloseRequest(GtkWindow*, gpointer self) {
  Window& window = *static_cast<Window*>(self);
  if (!window.busy_) return FALSE;
  window.closing_ = true;
  window.process_.Stop();
  return TRUE;
}

void Window::OnPrice(GSimpleAction*, GVariant*, gpointer self) {
  static_cast<Window*>(self)->RunSoon(&window_shop::Shop::AskPrice, "Asking the store for the price…");
}

void Window::OnBuy(GSimpleAction*, GVariant*, gpointer self) {
  static_cast<Window*>(self)->RunSoon(&window_shop::Shop::Buy, "Buying…");
}

void Window::OnRestore(GSimpleAction*, GVariant*, gpointer self) {
  static_cast<Window*>(self)->RunSoon(&window_shop::Shop::Restore, "Looking for an earlier purchase…");
}

void Window::OnCancel(GSimpleAction*, GVariant*, gpointer self) { static_cast<Window*>(self)->process_.Stop(); }

// A step waits, so it does not begin inside of the click: the button is let go first, and whoever asked over the bus
// has an answer.
void Window::RunSoon(Step step, const char* words) {
  step_ = step;
  process_.BeginStep();
  SetBusy(true);
  SetWords(words);
  idle_ = g_idle_add(OnIdle, this);
}

gboolean Window::OnIdle(gpointer self) {
  Window& window = *static_cast<Window*>(self);
  window.idle_ = 0;
  window.Run();
  return G_SOURCE_REMOVE;
}

void Window::Run() {
  SetWords(process_.IsToStop() ? "Stopped." : (shop_.*step_)());
  SetBusy(false);
  ShowPrice();
  if (closing_) gtk_window_destroy(window_);
}

void Window::SetBusy(bool busy) {
  busy_ = busy;
  for (const char* name : {"price", "buy", "restore"}) actions_.Enable(name, !busy);
  actions_.Enable("cancel", busy);
  gtk_spinner_set_spinning(GTK_SPINNER(spinner_), busy);
  if (busy) {
    tick_ = gtk_widget_add_tick_callback(spinner_, OnFrame, this, nullptr);
  } else {
    gtk_widget_remove_tick_callback(spinner_, tick_);
  }
}

// GTK calls this before it draws a frame, in whichever loop it is that turns.
gboolean Window::OnFrame(GtkWidget*, GdkFrameClock*, gpointer self) {
  constexpr int shown_every = 10;
  Window& window = *static_cast<Window*>(self);
  if (++window.frame_count_ % shown_every != 0) return G_SOURCE_CONTINUE;
  gtk_label_set_text(GTK_LABEL(window.frames_),
                     (std::to_string(window.frame_count_) + " frames drawn while waiting").c_str());
  window.actions_.SetValue("frames", g_variant_new_int32(window.frame_count_));
  return G_SOURCE_CONTINUE;
}

void Window::SetWords(const std::string& words) {
  gtk_label_set_text(GTK_LABEL(words_), words.c_str());
  actions_.SetValue("words", g_variant_new_string(words.c_str()));
}

void Window::ShowPrice() {
  const bool known = !shop_.Price().empty();
  gtk_button_set_label(GTK_BUTTON(sell_), known ? ("Buy for " + shop_.Price()).c_str() : "Ask for the price");
  gtk_actionable_set_action_name(GTK_ACTIONABLE(sell_), known ? "app.buy" : "app.price");
}

}  // namespace gtk_host

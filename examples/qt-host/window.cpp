#include "qt-host/window.h"

#include <QCloseEvent>
#include <QGridLayout>

#include "qt-host/host.h"

namespace qt_host {

using window_shop::Shop;

namespace {

constexpr int kTickMs = 50;
/// The system's ordinary priority less five: the worker makes room for the window.
constexpr int kWorkersPriority = 26;

}  // namespace

Window::Window()
    : process_([this] { close(); }),
      shop_(process_, "org.example.storefront",
            [this](const std::string& product, const std::string& price) { return Ask(product, price); }) {
  LayOut();
  Connect();
  RunSoon(&Shop::AskPrice, "Asking the store for the price…");
}

void Window::LayOut() {
  setWindowTitle("Storefront");
  sell_.setObjectName("sell");
  restore_.setObjectName("restore");
  cancel_.setObjectName("cancel");
  words_.setObjectName("words");
  ticks_label_.setObjectName("ticks");
  count_.setObjectName("count");
  count_bar_.setObjectName("progress");
  words_.setAlignment(Qt::AlignCenter);
  ticks_label_.setAlignment(Qt::AlignCenter);
  busy_.setTextVisible(false);
  auto* grid = new QGridLayout(this);
  grid->addWidget(&sell_, 0, 0, 1, 2);
  grid->addWidget(&restore_, 1, 0);
  grid->addWidget(&cancel_, 1, 1);
  grid->addWidget(&busy_, 2, 0, 1, 2);
  grid->addWidget(&words_, 3, 0, 1, 2);
  grid->addWidget(&ticks_label_, 4, 0, 1, 2);
  grid->addWidget(&count_bar_, 5, 0);
  grid->addWidget(&count_, 5, 1);
}

void Window::Connect() {
  connect(&sell_, &QPushButton::clicked, this, [this] {
    if (shop_.Price().empty()) {
      RunSoon(&Shop::AskPrice, "Asking the store for the price…");
    } else {
      RunSoon(&Shop::Buy, "Buying…");
    }
  });
  connect(&restore_, &QPushButton::clicked, this,
          [this] { RunSoon(&Shop::Restore, "Looking for an earlier purchase…"); });
  connect(&cancel_, &QPushButton::clicked, this, [this] { Stop(); });
  connect(&count_, &QPushButton::clicked, this, [this] { StartCounting(); });
  begin_.setSingleShot(true);
  connect(&begin_, &QTimer::timeout, this, [this] { Run(); });
  connect(&tick_, &QTimer::timeout, this, [this] { ticks_label_.setNum(++ticks_); });
}

void Window::closeEvent(QCloseEvent* event) {
  event->setAccepted(!is_busy_);
  if (!is_busy_) return;
  // The wait in which the store is asked is on the stack: it ends first.
  closing_ = true;
  Stop();
}

void Window::Stop() {
  process_.Stop();
  if (question_ != nullptr) question_->reject();
}

// A dialog of Qt's, in a loop of Qt's: the library's wait goes on underneath it.
bool Window::Ask(const std::string& product, const std::string& price) {
  QMessageBox box(QMessageBox::Question, "Storefront", QString::fromStdString("Buy for " + price + "?"),
                  QMessageBox::Yes | QMessageBox::No, this);
  box.setInformativeText(QString::fromStdString(product));
  const RunLoopBracket bracket(*this);
  question_ = &box;
  const int answer = box.exec();
  question_ = nullptr;
  return answer == QMessageBox::Yes;
}

// A step waits, so it does not begin inside of the click.
void Window::RunSoon(Step step, const char* words) {
  process_.BeginStep();
  SetBusy(true);
  words_.setText(words);
  step_ = step;
  begin_.start(0);
}

void Window::Run() {
  words_.setText(QString::fromStdString(process_.IsToStop() ? "Stopped." : (shop_.*step_)()));
  SetBusy(false);
  if (!shop_.Price().empty()) sell_.setText(QString::fromStdString("Buy for " + shop_.Price()));
  if (closing_) close();
}

void Window::SetBusy(bool busy) {
  is_busy_ = busy;
  for (QPushButton* button : {&sell_, &restore_}) button->setEnabled(!busy);
  cancel_.setEnabled(busy);
  // A bar from 0 to 0 moves by itself.
  busy_.setRange(0, busy ? 0 : 1);
  if (busy) {
    tick_.start(kTickMs);
  } else {
    tick_.stop();
  }
}

void Window::StartCounting() {
  count_.setEnabled(false);
  // A thread that has made its last report may need a moment to end.
  counter_.JoinThread();
  counter_.Start(kWorkersPriority);
}

void Window::CountBar::SetStatus(const char* text, int) {
  setFormat(text);
  button_.setEnabled(true);
}

}  // namespace qt_host

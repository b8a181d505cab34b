// The Qt example's window, whose buttons are pressed by a timer: `qt_example_driver NAME`. It says which loop Qt has on
// standard output, what it waited for in vain on standard error, and ends with 0 when it came to its end.

#include <signal.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QDeadlineTimer>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "qt-host/host.h"

namespace {

constexpr int kLookMs = 5;
constexpr int kStepMs = 60000;

/// Something to wait for, and what is then done.
struct Step {
  const char* awaited;
  std::function<bool()> has_come;
  std::function<void()> act;
};

class Driver {
 public:
  explicit Driver(qt_host::Window& window) : window_(window) {
    QObject::connect(&timer_, &QTimer::timeout, [this] { Look(); });
    timer_.start(kLookMs);
  }

  void Add(Step step) { steps_.push_back(std::move(step)); }
  bool IsDone() const { return next_ == steps_.size(); }

  void Click(const char* button) { window_.findChild<QPushButton*>(button)->click(); }
  bool IsEnabled(const char* button) { return window_.findChild<QPushButton*>(button)->isEnabled(); }
  bool SaysWords(const char* words) { return window_.findChild<QLabel*>("words")->text() == words; }
  int Ticks() { return window_.findChild<QLabel*>("ticks")->text().toInt(); }
  int Percent() { return window_.findChild<QProgressBar*>("progress")->value(); }
  static QMessageBox* Question() { return qobject_cast<QMessageBox*>(QApplication::activeModalWidget()); }
  void Close() { window_.close(); }

 private:
  void Look() {
    if (IsDone() || !steps_[next_].has_come()) {
      if (!end_.hasExpired()) return;
      std::fprintf(stderr, "in vain: %s; the window says: %s\n", IsDone() ? "the end" : steps_[next_].awaited,
                   qPrintable(window_.findChild<QLabel*>("words")->text()));
      std::_Exit(1);
    }
    end_ = QDeadlineTimer(kStepMs);
    // An act may run loops in which this is called.
    const std::function<void()> act = steps_[next_++].act;
    act();
  }

  qt_host::Window& window_;
  QTimer timer_;
  std::vector<Step> steps_;
  std::size_t next_ = 0;
  QDeadlineTimer end_{kStepMs};
};

void AddWords(Driver& driver, const char* words, std::function<void()> act) {
  driver.Add({words, [&driver, words] { return driver.SaysWords(words) && driver.IsEnabled("sell"); }, std::move(act)});
}

void AddPrice(Driver& driver) {
  AddWords(driver, "The price is $4.99.", [&driver] { driver.Click("sell"); });
}

/// The window lives while the question is there: before the store goes on, the timer ticks and the worker reports.
void AddQuestion(Driver& driver, std::function<void()> act) {
  static int before;
  driver.Add({"the question", [] { return Driver::Question() != nullptr; },
              [&driver] {
                before = driver.Ticks();
                driver.Click("count");
              }});
  driver.Add({"life while the question is asked", [&driver] { return driver.Ticks() > before && driver.Percent() > 0; },
              std::move(act)});
}

void AddAnswer(Driver& driver, QMessageBox::StandardButton answer) {
  AddQuestion(driver, [answer] { Driver::Question()->button(answer)->click(); });
}

void Buy(Driver& driver) {
  AddPrice(driver);
  AddAnswer(driver, QMessageBox::Yes);
  AddWords(driver, "Bought: the application is unlocked.", [&driver] { driver.Click("restore"); });
  AddWords(driver, "Restored: the application is unlocked.", [] {});
  driver.Add({"the worker's end", [&driver] { return driver.IsEnabled("count"); }, [&driver] { driver.Close(); }});
}

void Decline(Driver& driver) {
  AddPrice(driver);
  AddAnswer(driver, QMessageBox::No);
  AddWords(driver, "Not bought: the purchase was declined.", [&driver] { driver.Close(); });
}

void CancelQuestion(Driver& driver) {
  AddPrice(driver);
  AddQuestion(driver, [&driver] { driver.Click("cancel"); });
  AddWords(driver, "Stopped waiting for the purchase.", [&driver] { driver.Close(); });
}

/// For a catalogue whose purchases somebody else approves.
void AddDeferred(Driver& driver, std::function<void()> act) {
  AddPrice(driver);
  AddAnswer(driver, QMessageBox::Yes);
  static int before;
  driver.Add({"the answer", [] { return Driver::Question() == nullptr; }, [&driver] { before = driver.Ticks(); }});
  driver.Add({"life while the store waits",
              [&driver] { return driver.Ticks() > before + 1 && driver.SaysWords("Buying…"); }, std::move(act)});
}

void CancelDeferred(Driver& driver) {
  AddDeferred(driver, [&driver] { driver.Click("cancel"); });
  AddWords(driver, "Stopped waiting for the purchase.", [&driver] { driver.Close(); });
}

void QuitIdle(Driver& driver) {
  AddWords(driver, "The price is $4.99.", [] { raise(SIGTERM); });
}

void QuitQuestion(Driver& driver) {
  AddPrice(driver);
  AddQuestion(driver, [] { raise(SIGTERM); });
}

void QuitDeferred(Driver& driver) {
  AddDeferred(driver, [] { raise(SIGTERM); });
}

void Expect(int outcome, int expected, const char* what) {
  if (outcome == expected) return;
  std::fprintf(stderr, "%s: %d, not %d\n", what, outcome, expected);
  std::_Exit(1);
}

/// Calls a function soon, once, as long as it lives.
class Soon {
 public:
  explicit Soon(const std::function<void()>& act) {
    QObject::connect(&timer_, &QTimer::timeout, act);
    timer_.setSingleShot(true);
    timer_.start(1);
  }

 private:
  QTimer timer_;
};

/// The waits by themselves.
void WaitForSignals() {
  constexpr unsigned int no_limit = 0xFFFFFFFF, long_ms = 60000;
  qt_host::QtProcess process([] {});
  LSignalObject signal;
  for (const unsigned int ms : {no_limit, long_ms}) {
    signal.Reset();
    const Soon soon([&] { signal.Signal(); });
    Expect(process.ProcessWaitSignal(signal, ms), 0, "a wait for a signal that comes");
    Expect(process.ProcessWaitSignal(signal, ms), 0, "a wait for a signal that is there");
  }
  signal.Reset();
  Expect(process.ProcessWaitSignal(signal, 1), 2, "a wait whose time passes");
  Expect(process.ProcessWaitSignal({}, 1), 2, "a wait for nothing");
  Expect(process.ProcessWait(1), 0, "a pause whose time passes");
  // Inside of each other: the stop ends both.
  for (const unsigned int ms : {no_limit, long_ms}) {
    process.BeginStep();
    int inner = -1;
    const Soon soon([&] {
      const Soon stop([&] { process.Stop(); });
      inner = process.ProcessWaitSignal(signal, no_limit);
    });
    Expect(process.ProcessWaitSignal(signal, ms), 1, "a wait that is stopped");
    Expect(inner, 1, "the wait inside of it");
  }
  Expect(process.ProcessWait(long_ms), 1, "a pause that is stopped");
}

void Wait(Driver& driver) {
  AddWords(driver, "The price is $4.99.", [&driver] {
    WaitForSignals();
    driver.Close();
  });
}

constexpr struct {
  const char* name;
  void (*add)(Driver& driver);
} kScenarios[] = {
    {"waits", &Wait},
    {"buy", &Buy},
    {"decline", &Decline},
    {"cancel-question", &CancelQuestion},
    {"cancel-deferred", &CancelDeferred},
    {"quit-idle", &QuitIdle},
    {"quit-question", &QuitQuestion},
    {"quit-deferred", &QuitDeferred},
};

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  qt_host::Host host;
  Driver driver(host.MainWindow());
  for (const auto& scenario : kScenarios) {
    if (argc == 2 && std::string(argv[1]) == scenario.name) scenario.add(driver);
  }
  std::puts(QAbstractEventDispatcher::instance()->metaObject()->className());
  const int status = host.Run();
  // A process that a signal has ended otherwise never comes here.
  std::puts(driver.IsDone() ? "done" : "closed too early");
  return status;
}

#pragma once

#include <tillvane/tillvane.h>

#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QWidget>
#include <string>

#include "qt-host/qt_process.h"
#include "window-shop/prime_counter.h"
#include "window-shop/shop.h"

namespace qt_host {

/// The window: a button with the price, a busy bar while the store is waited for, the results in words, and a worker
/// thread's progress. Main thread only.
class Window : public QWidget {
 public:
  Window();

 protected:
  /// Stops what it waits for, then closes.
  void closeEvent(QCloseEvent* event) override;

 private:
  using Step = std::string (window_shop::Shop::*)();

  /// Where the worker's reports arrive.
  class CountBar : public QProgressBar, public LProcessInterfaceVoid {
   public:
    explicit CountBar(QPushButton& button) : button_(button) {}
    void SetProgress(double fraction) override { setValue(static_cast<int>(fraction * 100)); }
    /// The worker's last report.
    void SetStatus(const char* text, int value) override;

   private:
    QPushButton& button_;
  };

  void LayOut();
  void Connect();
  bool Ask(const std::string& product, const std::string& price);
  void RunSoon(Step step, const char* words);
  void Run();
  void SetBusy(bool busy);
  void Stop();
  void StartCounting();

  QtProcess process_;
  window_shop::Shop shop_;
  QMessageBox* question_ = nullptr;
  QPushButton sell_{"Ask for the price"};
  QPushButton restore_{"Restore"};
  QPushButton cancel_{"Cancel"};
  QProgressBar busy_;
  QLabel words_;
  QLabel ticks_label_;
  QPushButton count_{"Count primes"};
  CountBar count_bar_{count_};
  Step step_ = nullptr;
  QTimer begin_;
  QTimer tick_;
  int ticks_ = 0;
  bool is_busy_ = false;
  bool closing_ = false;
  // The last member: it ends first, and with it all that it reports.
  window_shop::PrimeCounter counter_{count_bar_};
};

}  // namespace qt_host

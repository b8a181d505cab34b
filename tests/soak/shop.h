#pragma once

#include <glib.h>
#include <tillvane/tillvane.h>

#include <atomic>
#include <functional>
#include <string>

namespace soak {

/// How this host waits: its loop goes on, and a timer of its own measures how long it stood still. Main thread only,
/// but for the signs of life, of which any thread may ask.
class Host final : public LProcessInterface, public LProcessEventsHandler {
 public:
  explicit Host(std::function<bool()> is_to_stop);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  bool IsToStop() override { return is_to_stop_(); }
  bool IsProcessEventHandlerToStop() const override { return is_to_stop_(); }
  bool ProcessWait(unsigned int ms) override { return ProcessWaitAndProcessEvents(ms) == 1; }
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override {
    return ProcessWaitSignalAndProcessEvents(signal, ms);
  }
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) override {
    return group.Select(ms) ? 0 : 2;
  }
  void SetError(const char*) override {}

  /// The longest time without a beat of the timer since the last call. What the host itself does between the two calls
  /// below does not count.
  unsigned int TakeLongestFreezeMs();
  void BeginPause();
  void EndPause();

  /// Grow with each beat of the timer, and when the host shows that it has not stopped though its loop has.
  void ShowLife() { ++signs_of_life_; }
  unsigned long SignsOfLife() const { return signs_of_life_; }

 private:
  static gboolean Beat(gpointer self);

  const std::function<bool()> is_to_stop_;
  const guint timer_;
  gint64 last_beat_;
  gint64 longest_ = 0;
  std::atomic<unsigned long> signs_of_life_{0};
};

/// The host's side of the store bridge.
class Shop {
 public:
  explicit Shop(Host& host) : host_(host) {}

  /// Asks the price, buys and restores through a bridge of its own, and looks at each answer; what is asked of the user
  /// is answered in turn by yes and no. Throws WrongResult, unless the host was asked to stop.
  void Round();

  unsigned long Rounds() const { return rounds_; }

 private:
  void BuyOnce();
  void BuyCoins(bool yes);
  void BuyWithoutPrice();
  void RequireUnlessStopped(bool is_so, const char* what);

  Host& host_;
  unsigned long rounds_ = 0;
};

}  // namespace soak

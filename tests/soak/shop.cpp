#include "shop.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "task.h"

namespace soak {

namespace {

constexpr guint kBeatMs = 5;

constexpr int kDone = 0, kCancelled = 1, kFailed = 2;

struct DestroyManager {
  void operator()(TillvaneManager* manager) const { TillvaneDestroy(manager); }
};
using Bridge = std::unique_ptr<TillvaneManager, DestroyManager>;

bool Ask(const char*, const char*, void* yes) { return *static_cast<const bool*>(yes); }

/// Answers the question of every purchase, for as long as this lives.
class Answer {
 public:
  explicit Answer(bool yes) : yes_(yes) { TillvaneSetPurchaseConfirmation(Ask, &yes_); }
  ~Answer() { TillvaneSetPurchaseConfirmation(nullptr, nullptr); }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

 private:
  bool yes_;
};

std::string Price(TillvaneManager* bridge, Host& host, const char* base) {
  char price[128] = "";
  TillvaneGetPrice(bridge, host, price, base);
  return price;
}

}  // namespace

Host::Host(std::function<bool()> is_to_stop)
    : is_to_stop_(std::move(is_to_stop)),
      timer_(g_timeout_add(kBeatMs, Beat, this)),
      last_beat_(g_get_monotonic_time()) {}

Host::~Host() { g_source_remove(timer_); }

gboolean Host::Beat(gpointer self) {
  Host& host = *static_cast<Host*>(self);
  const gint64 now = g_get_monotonic_time();
  host.longest_ = std::max(host.longest_, now - host.last_beat_);
  host.last_beat_ = now;
  host.ShowLife();
  return G_SOURCE_CONTINUE;
}

void Host::BeginPause() { Beat(this); }

void Host::EndPause() { last_beat_ = g_get_monotonic_time(); }

unsigned int Host::TakeLongestFreezeMs() { return static_cast<unsigned int>(std::exchange(longest_, 0) / 1000); }

void Shop::Round() {
  switch (rounds_ % 4) {
    case 0:
      BuyOnce();
      break;
    case 1:
      BuyCoins(true);
      break;
    case 2:
      BuyCoins(false);
      break;
    default:
      BuyWithoutPrice();
  }
  ++rounds_;
}

/// Who was asked to stop gives every wait up.
void Shop::RequireUnlessStopped(bool is_so, const char* what) { Require(is_so || host_.IsToStop(), what); }

void Shop::BuyOnce() {
  const Answer yes(true);
  const Bridge bridge(TillvaneInit());
  const std::string price = Price(bridge.get(), host_, "org.example.soak");
  RequireUnlessStopped(price == "$4.99", "the price is the catalogue's");
  RequireUnlessStopped(TillvaneIsAbleToMakePayments(bridge.get(), host_), "payments are possible");
  RequireUnlessStopped(TillvanePurchaseApplication(bridge.get(), host_, false) == kDone, "the application is bought");
  RequireUnlessStopped(TillvanePurchaseApplication(bridge.get(), host_, false) == kDone, "what is bought stays bought");
  RequireUnlessStopped(TillvanePurchaseApplication(bridge.get(), host_, true) == kDone, "a purchase is restored");
}

void Shop::BuyCoins(bool yes) {
  const Answer answer(yes);
  const Bridge bridge(TillvaneInit());
  RequireUnlessStopped(Price(bridge.get(), host_, "org.example.coins") == "$0.99",
                       "the coins' price is the catalogue's");
  const int bought = TillvanePurchaseApplication(bridge.get(), host_, false);
  RequireUnlessStopped(bought == (yes ? kDone : kCancelled), "a purchase goes as the user says");
}

void Shop::BuyWithoutPrice() {
  const Bridge bridge(TillvaneInit());
  RequireUnlessStopped(TillvanePurchaseApplication(bridge.get(), host_, false) == kFailed,
                       "what was not loaded is not bought");
  TillvaneDecideDeferredPurchases(true);
}

}  // namespace soak

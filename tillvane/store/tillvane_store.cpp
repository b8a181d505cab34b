#include <tillvane/store/TillvaneStore.h>

#include <memory>

#include <tillvane/platform/store_service.h>
#include <tillvane/store/store_rules.h>
#include <tillvane/store/tillvane_manager.h>

TillvaneManager* TillvaneInit() { return std::make_unique<TillvaneManager>().release(); }

void TillvaneDestroy(TillvaneManager* manager) { const std::unique_ptr<TillvaneManager> owner(manager); }

int TillvaneGetPrice(TillvaneManager* manager, LProcessInterface& process, char* utf8, const char* base) {
  return manager != nullptr ? manager->GetPrice(process, utf8, base) : store::kPriceAnswer;
}

int TillvanePurchaseApplication(TillvaneManager* manager, LProcessInterface& process, bool restore) {
  return manager != nullptr ? manager->PurchaseApplication(process, restore) : store::kAnswerFailed;
}

// Asked of the store itself: a host may want to know before it has made a bridge.
bool TillvaneIsAbleToMakePayments(TillvaneManager*, LProcessInterface&) { return platform::CanMakePayments(); }

void TillvaneSetPurchaseConfirmation(bool (*ask)(const char* id, const char* price, void* data), void* data) {
  platform::SetPurchaseConfirmation(ask, data);
}

void TillvaneDecideDeferredPurchases(bool approve) { platform::DecideDeferredPurchases(approve); }

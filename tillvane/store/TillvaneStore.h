#pragma once

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/export.h>

/// \file
/// The store bridge: a host sells itself with five functions.
///
/// All of them are called on the main thread. The two that take long wait through the caller's LProcessInterface; its
/// waits must keep the main loop running (see LProcessEventsHandler), because the store answers there. Call in this
/// order: TillvaneInit; TillvaneGetPrice, whose first call loads the product; TillvanePurchaseApplication as often as
/// wanted; TillvaneDestroy.

/// The bridge of one host: what TillvaneInit makes.
class TillvaneManager;

extern "C" {

/// Makes the bridge and lets it listen to the store. \return a handle that TillvaneDestroy frees
TILLVANE_API TillvaneManager* TillvaneInit();

/// Frees the bridge; null is allowed. Purchases still under way stay with the store until the next TillvaneInit.
TILLVANE_API void TillvaneDestroy(TillvaneManager* manager);

/// The localised price of the product whose identifier is `base` followed by ".paid".
///
/// The first call asks the store and waits at most 60 seconds; later calls only copy.
/// \param manager of TillvaneInit()
/// \param process how the first call waits
/// \param utf8 receives the whole price text and its terminator; without a price it is left untouched. Price texts are
///        short: 128 bytes hold any. UTF-8; on macOS it is the system's default C string encoding.
/// \param base the base identifier, UTF-8
/// \return always 1
TILLVANE_API int TillvaneGetPrice(TillvaneManager* manager, LProcessInterface& process, char* utf8, const char* base);

/// Buys the product, or restores an earlier purchase; waits at most 60 seconds.
/// \param manager of TillvaneInit()
/// \param process how it waits; its SetError() is told why a purchase failed
/// \param restore an earlier purchase, and buy nothing
/// \return 0 bought or restored (at once where this bridge has bought already and a purchase is asked for);
///         1 cancelled by the user, or the restore failed;
///         2 no product was loaded, or the purchase failed otherwise: then SetError says so
TILLVANE_API int TillvanePurchaseApplication(TillvaneManager* manager, LProcessInterface& process, bool restore);

/// May this user make payments at all? No argument is used.
TILLVANE_API bool TillvaneIsAbleToMakePayments(TillvaneManager* manager, LProcessInterface& process);

/// Local store only: asks the user before a purchase. Without one the store approves at once.
///
/// `ask` runs on the main loop and may run a dialog of the host's own; false is a purchase that the user cancelled.
/// \param ask gets the product's identifier and its price as text, both UTF-8 and valid during the call; null removes
///   it
/// \param data is passed on; it stays the caller's
TILLVANE_API void TillvaneSetPurchaseConfirmation(bool (*ask)(const char* id, const char* price, void* data),
                                                  void* data);

/// Local store only: decides every purchase that waits for somebody else's approval ("ask to buy").
///
/// The answer reaches the bridge later on the main loop, as any purchase does.
TILLVANE_API void TillvaneDecideDeferredPurchases(bool approve);
}

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <tillvane/platform/linux/store_ledger_linux.h>

/// \file
/// The input is the file of a ledger: it is opened and used as a store does.

namespace {

namespace fs = std::filesystem;

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;

constexpr int kBusyTimeoutMs = 0;

void Require(bool holds, const char* what, const StoreLedger& ledger) {
  if (holds) return;
  std::fprintf(stderr, "%s; the ledger's last error: %s\n", what, ledger.Error().c_str());
  std::abort();
}

/// One folder for the whole run, in memory where there is such a place.
class Folder {
 public:
  Folder() : path_(access("/dev/shm", W_OK) == 0 ? "/dev/shm/ledger-fuzz-XXXXXX" : "/tmp/ledger-fuzz-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& Path() const { return path_; }
  std::string Ledger() const { return path_ + "/ledger.sqlite"; }

  void HoldOnly(const std::string& bytes) const {
    for (const auto& entry : fs::directory_iterator(path_)) fs::remove_all(entry.path());
    std::ofstream(Ledger(), std::ios::binary) << bytes;
  }

  bool StillHolds(const std::string& bytes) const {
    for (const std::string& path : {Ledger(), Ledger() + ".corrupt-1"}) {
      std::ifstream file(path, std::ios::binary);
      if (file && std::string(std::istreambuf_iterator<char>(file), {}) == bytes) return true;
    }
    return false;
  }

 private:
  std::string path_;
};

bool Buy(StoreLedger& ledger, const std::string& product) {
  StoreTransaction transaction;
  return ledger.Begin(product, true, &transaction) &&
         ledger.Settle(transaction.id, TransactionState::kPurchased, 0, &transaction);
}

/// What a store does with a ledger. \return false when the ledger could not be used to the end
bool Shop(StoreLedger& ledger) {
  std::vector<StoreTransaction> transactions;
  StoreTransaction transaction;
  if (!ledger.TakeUnfinished(&transactions)) return false;
  for (const StoreTransaction& unfinished : transactions) {
    if (!ledger.Finish(unfinished.id)) return false;
  }
  if (!ledger.DecideDeferred(true, &transactions) || !Buy(ledger, "p") || !Buy(ledger, "p")) return false;
  if (!ledger.Begin("q", false, &transaction)) return false;
  if (!ledger.Settle(transaction.id, TransactionState::kDeferred, 0, &transaction)) return false;
  if (!ledger.DecideDeferred(false, &transactions) || !ledger.Restore(&transactions)) return false;
  const auto granted = std::count_if(transactions.begin(), transactions.end(),
                                     [](const StoreTransaction& restored) { return restored.product == "p"; });
  Require(granted == 1, "what was bought is not granted once", ledger);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  folder.HoldOnly(bytes);
  StoreLedger ledger(folder.Path(), kBusyTimeoutMs);
  std::vector<StoreTransaction> transactions;
  if (!ledger.TakeUnfinished(&transactions)) {
    Require(!ledger.Error().empty(), "a failure without a reason", ledger);
    Require(folder.StillHolds(bytes), "a ledger that was refused is not what it was", ledger);
    // One that was set aside makes room for a new one, which has to work; any other stays in the way.
    const bool replaced = !fs::exists(folder.Ledger());
    Require(Shop(ledger) == replaced, "the second try is no better, or no worse, than the first", ledger);
    return 0;
  }
  if (!Shop(ledger)) Shop(ledger);
  return 0;
}

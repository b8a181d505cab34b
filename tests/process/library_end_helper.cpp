// A host at its end: each argument is one way to leave.

#include <tillvane/tillvane.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct Destroyer {
  void operator()(TillvaneManager* manager) const {
    TillvaneDestroy(manager);
    std::puts("destroyed");
  }
};

// Made before the library's own objects, so it ends after them.
std::unique_ptr<TillvaneManager, Destroyer> global_bridge;

void WaitAtExit() { std::printf("waited %d\n", ProcessWaitAndProcessEvents(100)); }

int GlobalBridge() {
  global_bridge.reset(TillvaneInit());
  return ProcessWaitAndProcessEvents(100);
}

int WaitInExitHandler() {
  if (std::atexit(WaitAtExit) != 0) return 1;
  TillvaneManager* manager = TillvaneInit();
  ProcessWaitAndProcessEvents(50);
  TillvaneDestroy(manager);
  return 0;
}

/// Asks the price and says it. \return 0 when there was one
int SayPrice(TillvaneManager* manager) {
  class Host : public LProcessInterfaceVoid, public LProcessEventsHandlerNeverStop {
   public:
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int) override {
      return ProcessWaitSignalAndProcessEvents(signal, 10000);
    }
  };
  Host host;
  char price[128] = "";
  TillvaneGetPrice(manager, host, price, "org.example.storefront");
  std::printf("price %s\n", price);
  std::fflush(stdout);
  return price[0] != '\0' ? 0 : 1;
}

int ForkedChild(bool goes_on) {
  TillvaneManager* manager = TillvaneInit();
  ProcessWaitAndProcessEvents(100);
  const pid_t child = fork();
  if (child == 0) {
    if (goes_on) std::exit(SayPrice(manager));
    std::exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  TillvaneDestroy(manager);
  return status == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  const char* const way = count > 1 ? arguments[1] : "";
  if (std::strcmp(way, "global") == 0) return GlobalBridge();
  if (std::strcmp(way, "atexit") == 0) return WaitInExitHandler();
  if (std::strcmp(way, "fork-exit") == 0) return ForkedChild(false);
  if (std::strcmp(way, "fork-price") == 0) return ForkedChild(true);
  return 2;
}

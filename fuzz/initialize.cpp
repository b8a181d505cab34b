// What every target does first: gives signals back to whoever had them before the library. A crash is the fuzzer's and
// its sanitizer's to see; the library's own handlers would end the process without a word and without an artifact.

#include <tillvane/diag/signal_handlers.h>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  diag::RestoreSignalHandlers();
  return 0;
}

#include <sys/resource.h>
#include <sys/stat.h>

#include <clocale>

#include <tillvane/diag/LDebugThread.h>
#include <tillvane/system/LCommandLine.h>
#include <tillvane/system/LLocale.h>
#include <tillvane/system/LUnixApp.h>

int LUnixAppInitCommon(int argc, char** argv) {
  LDebugThreadDataStartThread("MAIN");
  umask(0);
  LUnixAppCopyCommandLineArguments(argc, argv);
  LGetLocale(LC_ALL);
  LSetMaximumNumberOfOpenFiles();
  return 1;
}

int LSetMaximumNumberOfOpenFiles() {
  rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return -1;
  limit.rlim_cur = 1024;
  return setrlimit(RLIMIT_NOFILE, &limit);
}

#include <locale.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <tillvane/diag/LDebugThread.h>
#include <tillvane/system/LCommandLine.h>
#include <tillvane/system/LLocale.h>
#include <tillvane/system/LUnixApp.h>

// The start of a program, and what it finds: `start [ARGUMENT...]`, `start-empty`, `locale CATEGORY`,
// `open-files SOFT HARD`.

namespace {

rlimit OpenFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  return limit;
}

void PrintNumbers(int answer, const rlimit& limit) {
  std::printf("%d, %llu of %llu\n", answer, static_cast<unsigned long long>(limit.rlim_cur),
              static_cast<unsigned long long>(limit.rlim_max));
}

const char* OwnThreadsName() {
  for (unsigned int i = 0; i < gnDebugThreads; ++i) {
    if (gDebugThreadData[i].id == gdwMainThreadId) return gDebugThreadData[i].name;
  }
  return "none";
}

int Start(int argc, char** argv) {
  umask(077);
  std::printf("answer %d\n", LUnixAppInitCommon(argc, argv));
  std::printf("thread %.4s\n", OwnThreadsName());
  std::printf("mask %o\n", static_cast<unsigned int>(umask(0)));
  std::printf("arguments %d", gargc);
  for (char** argument = gargv; *argument != nullptr; ++argument) std::printf(" '%s'", *argument);
  std::printf("\nlocale %s\n", LGetLocale(LC_CTYPE));
  std::printf("open files %llu\n", static_cast<unsigned long long>(OpenFiles().rlim_cur));
  return 0;
}

/// The name of the locale, which stays when the host chooses another one.
int Locale(int category) {
  const char* const first = LGetLocale(category);
  const std::string name = first;
  const std::string of_the_library = setlocale(category, nullptr);
  setlocale(LC_ALL, "C");
  for (const int other : {LC_ALL, LC_COLLATE, LC_CTYPE, LC_TIME, 2, -1, 4711}) {
    if (LGetLocale(other) != first) return 1;
  }
  if (name != first || name != of_the_library) return 2;
  std::printf("%s\n", first);
  return 0;
}

int LimitOpenFiles(rlim_t soft, rlim_t hard) {
  const rlimit limit{soft, hard};
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return 77;
  const int answer = LSetMaximumNumberOfOpenFiles();
  PrintNumbers(answer, OpenFiles());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "start") return Start(argc - 1, argv + 1);
  char* none[] = {nullptr};
  if (what == "start-empty") return Start(0, none);
  if (what == "locale" && argc == 3) return Locale(std::atoi(argv[2]));
  if (what == "open-files" && argc == 4) {
    return LimitOpenFiles(std::strtoul(argv[2], nullptr, 10), std::strtoul(argv[3], nullptr, 10));
  }
  return 100;
}

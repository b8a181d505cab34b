// The start of a program, call by call, and a system that refuses some of it. The definitions here take the place of
// the C library's for everything that is linked into this program.

#include <locale.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tillvane/diag/LDebugThread.h>
#include <tillvane/platform/locale_name.h>
#include <tillvane/system/LCommandLine.h>
#include <tillvane/system/LLocale.h>
#include <tillvane/system/LUnixApp.h>

namespace {

using Calls = std::vector<std::string>;

Calls calls;
rlimit open_files{64, 4096};
int getrlimit_error = 0, setrlimit_error = 0;
// What the system has; the empty name is what the environment says.
std::vector<std::string> installed;
std::string current;

/// What the start has done when a call is made.
std::string WhatIsDone() {
  std::string done;
  for (unsigned int i = 0; i < gnDebugThreads; ++i) {
    if (std::strncmp(gDebugThreadData[i].name, "MAIN", 4) == 0) done += " registered";
  }
  if (gargc > 0) done += " copied";
  return done;
}

}  // namespace

extern "C" {

mode_t umask(mode_t mask) noexcept {
  calls.push_back("umask " + std::to_string(mask) + WhatIsDone());
  return 022;
}

char* setlocale(int category, const char* name) noexcept {
  if (name == nullptr) return category == LC_ALL ? current.data() : nullptr;
  calls.push_back("setlocale '" + std::string(name) + '\'' + WhatIsDone());
  for (const std::string& one : installed) {
    if (one == name) {
      current = name;
      return current.data();
    }
  }
  return nullptr;
}

int getrlimit(__rlimit_resource_t resource, rlimit* limit) noexcept {
  EXPECT_EQ(resource, RLIMIT_NOFILE);
  *limit = open_files;
  return getrlimit_error == 0 ? 0 : support::FailNoted(getrlimit_error);
}

int setrlimit(__rlimit_resource_t resource, const rlimit* limit) noexcept {
  EXPECT_EQ(resource, RLIMIT_NOFILE);
  calls.push_back("setrlimit " + std::to_string(limit->rlim_cur) + ' ' + std::to_string(limit->rlim_max) +
                  WhatIsDone());
  return setrlimit_error == 0 ? 0 : support::FailNoted(setrlimit_error);
}

}  // extern "C"

namespace {

/// What the tests share of the process is as it was.
class UnixAppFaults : public testing::Test {
 protected:
  UnixAppFaults() {
    calls.clear();
    installed.clear();
    current = "C";
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) unsetenv(variable);
  }
  ~UnixAppFaults() override { getrlimit_error = setrlimit_error = 0; }
};

TEST_F(UnixAppFaults, TheStartHasItsOrder) {
  char program[] = "prog";
  char serial[] = "-psn_0_1";
  char* arguments[] = {program, serial, nullptr};
  setenv("LANG", "de_DE.UTF-8", 1);
  installed = {""};
  setrlimit_error = EINVAL;
  EXPECT_EQ(LUnixAppInitCommon(2, arguments), 1);
  EXPECT_EQ(calls,
            (Calls{"umask 0 registered", "setlocale '' registered copied", "setrlimit 1024 4096 registered copied"}));
  EXPECT_EQ(gargc, 1);
  LDebugThreadDataStopThread();
}

TEST_F(UnixAppFaults, TheNumberOfOpenFilesIsWhatTheSystemAnswers) {
  EXPECT_EQ(LSetMaximumNumberOfOpenFiles(), 0);
  EXPECT_EQ(calls.size(), 1u);
  for (const int error : {EINVAL, EPERM}) {
    setrlimit_error = error;
    EXPECT_EQ(LSetMaximumNumberOfOpenFiles(), -1);
    EXPECT_EQ(errno, error);
  }
  calls.clear();
  getrlimit_error = EINVAL;
  EXPECT_EQ(LSetMaximumNumberOfOpenFiles(), -1);
  EXPECT_EQ(calls, Calls());
}

TEST_F(UnixAppFaults, TheLocaleIsLookedForUnderSeveralNames) {
  struct Case {
    const char* identifier;
    std::vector<std::string> installed;
    Calls tried;
  };
  const Case cases[] = {
      {"de_DE", {"", "de_DE.UTF-8", "de_DE"}, {"setlocale ''"}},
      {"de_DE", {"de_DE.UTF-8", "de_DE"}, {"setlocale ''", "setlocale 'de_DE.UTF-8'"}},
      {"de_DE", {"de_DE"}, {"setlocale ''", "setlocale 'de_DE.UTF-8'", "setlocale 'de_DE'"}},
      {"de_DE", {}, {"setlocale ''", "setlocale 'de_DE.UTF-8'", "setlocale 'de_DE'"}},
      {"", {}, {"setlocale ''"}},
      {"", {""}, {"setlocale ''"}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.identifier) + testing::PrintToString(one.installed));
    calls.clear();
    installed = one.installed;
    platform::SetProcessLocale(one.identifier);
    for (std::string& call : calls) call.resize(call.find('\'', call.find('\'') + 1) + 1);
    EXPECT_EQ(calls, one.tried);
  }
}

TEST_F(UnixAppFaults, TheIdentifierIsWhatTheEnvironmentBeginsWith) {
  struct Case {
    const char *all, *messages, *language, *identifier;
  };
  const Case cases[] = {
      {nullptr, nullptr, nullptr, ""},
      {"", "", "", ""},
      {nullptr, nullptr, "en_US.UTF-8", "en_US"},
      {nullptr, "fr_CH", "en_US.UTF-8", "fr_CH"},
      {"de_DE@euro", "fr_CH", "en_US.UTF-8", "de_DE"},
      {"", "", "sr_RS.UTF-8@latin", "sr_RS"},
      {nullptr, nullptr, "sr_RS@latin.UTF-8", "sr_RS"},
      {nullptr, nullptr, "C.UTF-8", "C"},
      {nullptr, nullptr, "tok", "tok"},
      {nullptr, nullptr, ".UTF-8", ""},
      {".", "en_US", nullptr, ""},
  };
  for (const Case& one : cases) {
    const auto set = [](const char* name, const char* value) {
      if (value != nullptr) setenv(name, value, 1);
      if (value == nullptr) unsetenv(name);
    };
    set("LC_ALL", one.all);
    set("LC_MESSAGES", one.messages);
    set("LANG", one.language);
    EXPECT_EQ(platform::UserLocaleIdentifier(), one.identifier)
        << testing::PrintToString(one.all) << testing::PrintToString(one.messages)
        << testing::PrintToString(one.language);
  }
}

/// The answer is found once in a process, so that each of these needs a new one.
class LocaleFaults : public UnixAppFaults {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(LocaleFaults, FiveCharactersOfTheIdentifierCount) {
  setenv("LANG", "de_DEXX.UTF-8", 1);
  installed = {"de_DE"};
  EXPECT_EXIT(
      {
        const char* const name = LGetLocale(LC_ALL);
        std::exit(name != nullptr && std::strcmp(name, "de_DE") == 0 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(LocaleFaults, ACharacterOfTheIdentifierIsNotCut) {
  setenv("LANG", "de_D\xC3\x84", 1);
  installed = {"de_D"};
  EXPECT_EXIT(std::exit(std::strcmp(LGetLocale(LC_ALL), "de_D") == 0 ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(LocaleFaults, ACategoryThatThereIsNotHasNoName) {
  EXPECT_EXIT(std::exit(LGetLocale(4711) == nullptr && LGetLocale(LC_ALL) == nullptr ? 0 : 1),
              testing::ExitedWithCode(0), "");
}

}  // namespace

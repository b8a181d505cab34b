// System calls that fail under the lock between processes. The definitions here take the place of the C library's for
// everything that is linked into this program; no semaphore is made and nobody sleeps.

#include <sys/ipc.h>
#include <sys/sem.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tillvane/core/LSystemLockMutex.h>
#include <tillvane/core/system_lock_key.h>

namespace {

// What a call does instead.
support::Replacement<int(key_t key, int count, int flags)> on_semget{"semget"};
support::Replacement<int(int set, int command, int value)> on_semctl{"semctl"};
support::Replacement<int(int set, const sembuf& operation)> on_semop{"semop"};
// While it is set.
support::Replacement<int(const timespec* time, timespec* left)> on_nanosleep{"nanosleep"};

int FailWith(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int semget(key_t key, int count, int flags) noexcept {
  return on_semget ? on_semget(key, count, flags) : FailWith(ENOSYS);
}

int semctl(int set, int number, int command, ...) noexcept {
  EXPECT_EQ(number, 0);
  union {
    int value;
    void* pointer;
  } argument{};
  if (command == SETVAL) {
    va_list arguments;
    va_start(arguments, command);
    argument = va_arg(arguments, decltype(argument));
    va_end(arguments);
  }
  return on_semctl ? on_semctl(set, command, argument.value) : FailWith(ENOSYS);
}

int semop(int set, sembuf* operations, size_t count) noexcept {
  EXPECT_EQ(count, 1u);
  return on_semop ? on_semop(set, *operations) : FailWith(ENOSYS);
}

int nanosleep(const timespec* time, timespec* left) {
  if (on_nanosleep) return on_nanosleep(time, left);
  return support::Next(&nanosleep, "nanosleep")(time, left);
}

}  // extern "C"

namespace {

constexpr int kSet = 4711;

long long Ms(const timespec& time) { return static_cast<long long>(time.tv_sec) * 1000 + time.tv_nsec / 1000000; }

class SystemLockMutexFault : public testing::Test {
 protected:
  SystemLockMutexFault() {
    on_semget = [](key_t, int, int) { return kSet; };
    on_semctl = [](int, int, int) { return 0; };
    on_semop = [](int, const sembuf&) { return 0; };
    on_nanosleep = [this](const timespec* time, timespec*) {
      sleeps_.push_back(Ms(*time));
      return 0;
    };
  }
  ~SystemLockMutexFault() override {
    on_semget = {};
    on_semctl = {};
    on_semop = {};
    on_nanosleep = {};
  }

  /// Every semop from here on fails with this error.
  void RefuseOperations(int error) {
    on_semop = [this, error](int set, const sembuf& operation) {
      EXPECT_EQ(set, kSet);
      operations_.push_back(operation);
      return FailWith(error);
    };
  }

  std::vector<long long> sleeps_;
  std::vector<sembuf> operations_;
};

// --- Names and opening ---

TEST_F(SystemLockMutexFault, KeysOfNames) {
  struct Case {
    const char* name;
    int key;
  };
  // h = 11223; for each signed byte c: h = h * 32 + c, in 32 bits.
  const Case cases[] = {
      {nullptr, 11223},        {"", 11223},
      {"a", 359233},           // 359136 + 97
      {"ab", 11495554},        // 359233 * 32 + 98
      {"\x7f", 359263},        // 359136 + 127
      {"\x80", 359008},        // 359136 - 128
      {"\xff", 359135},        // 359136 - 1
      {"a\xff", 11495455},     // 359233 * 32 - 1
      {"\xc3\xa4", 11490308},  // (359136 - 61) * 32 - 92
      {"lock", -1113077557},   // 3181889739 as a signed number
      {"Tillvane", 519868965}, {"aaaaaaaaaaaaaaaaaaaa", 138547329},
      {"A]]]]^@", 1},  // 0 would be nobody else's
      {"A]]]]^A", 1},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.name));
    std::vector<key_t> keys;
    on_semget = [&](key_t key, int, int) {
      keys.push_back(key);
      return kSet;
    };
    const LSystemLockMutex lock(one.name);
    EXPECT_EQ(keys, std::vector<key_t>{one.key});
    EXPECT_EQ(core::SystemLockKey(one.name), one.key);
  }
}

TEST_F(SystemLockMutexFault, ASetThatIsNotThereIsMadeWithOneFreeSemaphore) {
  std::vector<std::string> calls;
  on_semget = [&](key_t, int count, int flags) {
    calls.push_back("semget " + std::to_string(count) + ' ' + std::to_string(flags));
    return flags == 0 ? FailWith(ENOENT) : kSet;
  };
  on_semctl = [&](int set, int command, int value) {
    EXPECT_EQ(set, kSet);
    EXPECT_EQ(command, SETVAL);
    calls.push_back("set " + std::to_string(value));
    return 0;
  };
  const LSystemLockMutex lock("name");
  EXPECT_EQ(calls, (std::vector<std::string>{"semget 0 0", "semget 1 1974", "set 1"}));
}

TEST_F(SystemLockMutexFault, ASetThatAppearsMeanwhileIsOpenedAndKeepsItsValue) {
  int calls = 0;
  on_semget = [&](key_t, int, int flags) {
    if (++calls == 3) return kSet;
    return FailWith(flags == 0 ? ENOENT : EEXIST);
  };
  on_semctl = [](int, int command, int) {
    ADD_FAILURE() << "command " << command;
    return 0;
  };
  LSystemLockMutex lock("name");
  EXPECT_EQ(calls, 3);
  RefuseOperations(EIDRM);
  EXPECT_FALSE(lock.Lock(0));
  EXPECT_EQ(operations_.size(), 1u) << "there is a set";
}

TEST_F(SystemLockMutexFault, ASetThatComesAndGoesDoesNotHoldUpForEver) {
  int calls = 0;
  on_semget = [&](key_t, int, int flags) { return ++calls > 100000 ? kSet : FailWith(flags == 0 ? ENOENT : EEXIST); };
  LSystemLockMutex lock("name");
  RefuseOperations(EAGAIN);
  EXPECT_FALSE(lock.Lock(1000));
  EXPECT_TRUE(operations_.empty());
}

TEST_F(SystemLockMutexFault, WithoutASetNothingLocksAndNothingIsCalled) {
  for (const int error : {ENOSPC, EACCES, ENOMEM, ENOSYS}) {
    for (const bool fails_to_open : {false, true}) {
      SCOPED_TRACE(error);
      int calls = 0;
      on_semget = [&](key_t, int, int flags) {
        ++calls;
        return FailWith(flags == 0 && !fails_to_open ? ENOENT : error);
      };
      RefuseOperations(EAGAIN);
      on_semctl = [](int, int command, int) {
        ADD_FAILURE() << "command " << command;
        return 0;
      };
      {
        LSystemLockMutex lock("name");
        EXPECT_EQ(calls, fails_to_open ? 1 : 2);
        EXPECT_FALSE(lock.Lock(1000));
        lock.LockForever();
        lock.Unlock();
      }
      EXPECT_TRUE(operations_.empty());
      EXPECT_TRUE(sleeps_.empty());
    }
  }
}

// --- Locking ---

TEST_F(SystemLockMutexFault, AttemptsAreTenMillisecondsApart) {
  struct Case {
    unsigned int ms;
    std::size_t attempts;
  };
  for (const Case& one : {Case{0, 1}, Case{1, 1}, Case{9, 1}, Case{10, 1}, Case{11, 2}, Case{20, 2}, Case{21, 3},
                          Case{25, 3}, Case{1000, 100}, Case{1001, 101}}) {
    SCOPED_TRACE(one.ms);
    RefuseOperations(EAGAIN);
    operations_.clear();
    sleeps_.clear();
    LSystemLockMutex lock("name");
    EXPECT_FALSE(lock.Lock(one.ms));
    EXPECT_EQ(operations_.size(), one.attempts);
    EXPECT_EQ(sleeps_, std::vector<long long>(one.attempts, 10));
    for (const sembuf& operation : operations_) {
      EXPECT_EQ(operation.sem_num, 0);
      EXPECT_EQ(operation.sem_op, -1);
      EXPECT_EQ(operation.sem_flg, 6144);
    }
  }
}

TEST_F(SystemLockMutexFault, TheLongestTimesDoNotWrap) {
  for (const unsigned int ms : {0x7FFFFFFFu, 0xFFFFFFF5u, 0xFFFFFFFAu, 0xFFFFFFFFu}) {
    SCOPED_TRACE(ms);
    int attempts = 0;
    on_semop = [&](int, const sembuf&) { return ++attempts < 1000 ? FailWith(EAGAIN) : 0; };
    LSystemLockMutex lock("name");
    EXPECT_TRUE(lock.Lock(ms));
    EXPECT_EQ(attempts, 1000);
  }
}

TEST_F(SystemLockMutexFault, AnInterruptedSleepGoesOnForTheTimeThatIsLeft) {
  RefuseOperations(EAGAIN);
  std::vector<long> slept;
  on_nanosleep = [&](const timespec* time, timespec* left) {
    slept.push_back(time->tv_nsec);
    if (slept.size() % 3 == 0) return 0;
    *left = {0, time->tv_nsec - 3000000};
    return FailWith(EINTR);
  };
  LSystemLockMutex lock("name");
  EXPECT_FALSE(lock.Lock(20));
  EXPECT_EQ(operations_.size(), 2u);
  EXPECT_EQ(slept, (std::vector<long>{10000000, 7000000, 4000000, 10000000, 7000000, 4000000}));
}

TEST_F(SystemLockMutexFault, AnyOtherFailureEndsTheAttemptsAtOnce) {
  for (const int error : {EIDRM, EINVAL, EINTR, EACCES, ENOSPC, ENOMEM, EFBIG, ERANGE}) {
    SCOPED_TRACE(error);
    RefuseOperations(error);
    operations_.clear();
    {
      LSystemLockMutex lock("name");
      EXPECT_FALSE(lock.Lock(1000));
      EXPECT_EQ(errno, error);
      EXPECT_EQ(operations_.size(), 1u);
      lock.LockForever();
      EXPECT_EQ(operations_.size(), 2u);
    }
    EXPECT_EQ(operations_.size(), 2u) << "there is nothing to release";
    EXPECT_TRUE(sleeps_.empty());
  }
}

TEST_F(SystemLockMutexFault, ForEverSleepsInTheSystemAndAsksAgainOnlyWhenToldTo) {
  on_semop = [this](int, const sembuf& operation) {
    operations_.push_back(operation);
    return operations_.size() < 4 ? FailWith(EAGAIN) : 0;
  };
  LSystemLockMutex lock("name");
  lock.LockForever();
  ASSERT_EQ(operations_.size(), 4u);
  for (const sembuf& operation : operations_) {
    EXPECT_EQ(operation.sem_num, 0);
    EXPECT_EQ(operation.sem_op, -1);
    EXPECT_EQ(operation.sem_flg, 4096);
  }
}

// --- Releasing ---

/// What the system is told when a lock is given up.
struct Release {
  int value;   ///< of the semaphore
  pid_t last;  ///< the process that changed it last
  std::vector<std::string> calls;
};

TEST_F(SystemLockMutexFault, AReleaseAddsOneUnlessTheOwnSemaphoreIsFreeAlready) {
  const pid_t own = getpid();
  const std::vector<std::string> adds{"value", "add 1 4096"}, asks_and_adds{"value", "last", "add 1 4096"};
  for (const Release& one :
       {Release{0, own, adds}, Release{0, own + 1, adds}, Release{-1, own, adds}, Release{1, own + 1, asks_and_adds},
        Release{1, own, {"value", "last", "remove"}}, Release{2, own, {"value", "last", "remove"}}}) {
    for (const bool by_its_end : {false, true}) {
      SCOPED_TRACE(testing::Message() << "value " << one.value << ", last " << one.last - own);
      std::vector<std::string> calls;
      {
        on_semop = [](int, const sembuf&) { return 0; };
        LSystemLockMutex lock("name");
        EXPECT_TRUE(lock.Lock(0));
        on_semop = [&](int, const sembuf& operation) {
          calls.push_back("add " + std::to_string(operation.sem_op) + ' ' + std::to_string(operation.sem_flg));
          return 0;
        };
        on_semctl = [&](int set, int command, int) {
          EXPECT_EQ(set, kSet);
          calls.emplace_back(command == GETVAL ? "value" : command == GETPID ? "last" : "remove");
          if (command != GETVAL && command != GETPID) {
            EXPECT_EQ(command, IPC_RMID);
          }
          return command == GETVAL ? one.value : command == GETPID ? one.last : 0;
        };
        if (!by_its_end) {
          lock.Unlock();
          EXPECT_FALSE(lock.Lock(1000));
        }
      }
      EXPECT_EQ(calls, one.calls);
    }
  }
}

TEST_F(SystemLockMutexFault, WhatTheSystemRefusesToTakeBackIsGivenBackByTheEnd) {
  for (const int error : {EINTR, ENOMEM, EIDRM}) {
    SCOPED_TRACE(error);
    operations_.clear();
    {
      on_semop = [](int, const sembuf&) { return 0; };
      LSystemLockMutex lock("name");
      EXPECT_TRUE(lock.Lock(0));
      RefuseOperations(error);
      lock.Unlock();
      EXPECT_EQ(operations_.size(), 1u);
    }
    ASSERT_EQ(operations_.size(), 2u);
    EXPECT_EQ(operations_[1].sem_op, 1);
  }
}

}  // namespace

// Kills and failures at every step of a save. The definitions here take the place of the C library's for everything
// that is linked into this program.

#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/next_definition.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/preference_store_linux.h>

using support::Next;

namespace {

/// Asked before each call, by its name, while it is set. \return the error to fail with, 0 to go on
std::function<int(const std::string& call)> on_call;
/// A write takes at most so many bytes.
std::size_t most_at_once = SIZE_MAX;

bool Fails(const char* call) {
  const int error = on_call ? on_call(call) : 0;
  if (error != 0) support::FailNoted(error, call);
  return error != 0;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return Fails("open") ? -1 : Next(&open, "open")(path, flags, mode);
}

int mkdir(const char* path, mode_t mode) noexcept { return Fails("mkdir") ? -1 : Next(&mkdir, "mkdir")(path, mode); }

int flock(int file, int operation) noexcept { return Fails("flock") ? -1 : Next(&flock, "flock")(file, operation); }

ssize_t read(int file, void* bytes, std::size_t size) {
  return Fails("read") ? -1 : Next(&read, "read")(file, bytes, size);
}

ssize_t write(int file, const void* bytes, std::size_t size) {
  if (Fails("write")) return -1;
  return Next(&write, "write")(file, bytes, size < most_at_once ? size : most_at_once);
}

int fsync(int file) { return Fails("fsync") ? -1 : Next(&fsync, "fsync")(file); }

int rename(const char* from, const char* to) noexcept {
  return Fails("rename") ? -1 : Next(&rename, "rename")(from, to);
}

int unlink(const char* path) noexcept { return Fails("unlink") ? -1 : Next(&unlink, "unlink")(path); }

int close(int file) {
  // It is closed in any case.
  const bool fails = Fails("close");
  const int result = Next(&close, "close")(file);
  return fails ? -1 : result;
}

}  // extern "C"

namespace {

namespace fs = std::filesystem;

using platform::PreferenceStore;
using platform::PreferenceValues;
using support::Contents;

constexpr int kWaitMs = 200;
constexpr int kMostCalls = 200;

const PreferenceValues kOld{{"a", "old"}, {"kept", std::string(5000, 'k')}};
const PreferenceValues kNew{{"a", "new"}, {"b", std::string(9000, 'b')}, {"kept", std::string(5000, 'k')}};

void Change(PreferenceStore* store) {
  store->Change("a", "new");
  store->Change("b", std::string(9000, 'b'));
}

class PreferencesFault : public testing::Test {
 protected:
  static void SetUpTestSuite() { support::KeepFoldersInMemory(); }

  ~PreferencesFault() override { Restore(); }

  static void Restore() {
    on_call = {};
    most_at_once = SIZE_MAX;
  }

  /// What is there before a save.
  struct Start {
    const char* name;
    std::string file;  ///< empty for none
    bool is_linked = false;
    bool has_folder = true;  ///< somebody who was killed then, or who is still at it, has made it

    PreferenceValues Values() const { return platform::ParsePreferences(file).values; }
    PreferenceValues Changed() const {
      PreferenceValues values = Values();
      for (const char* key : {"a", "b"}) values[key] = kNew.at(key);
      return values;
    }
  };

  static std::vector<Start> Starts() {
    const std::string old = platform::FormatPreferences(kOld);
    return {{"nothing", "", false, false},
            {"a folder", ""},
            {"a file", old},
            {"a damaged file", old + "garb"},
            {"a link", old, true}};
  }

  void Prepare(const Start& start) const {
    fs::remove_all(top_.File("config"));
    fs::remove_all(top_.File("real"));
    if (start.has_folder) support::MakeFolder(Folder());
    if (start.file.empty()) return;
    support::MakeFile(start.is_linked ? top_.File("real") : Path(), start.file);
    if (start.is_linked) fs::create_symlink(top_.File("real"), Path());
  }

  /// The old values or the new ones are there; of a damaged file also the rest, somewhere.
  /// \return are they the new ones
  bool HasOldOrNew(const Start& start) const {
    PreferenceStore store(Folder());
    EXPECT_TRUE(store.Synchronize(kWaitMs));
    const std::string text = support::IsThere(Path()) ? Contents(Path()) : "";
    const bool is_new = text == platform::FormatPreferences(start.Changed());
    EXPECT_TRUE(is_new || text == start.file) << text.substr(0, 100);
    if (is_new && !platform::ParsePreferences(start.file).is_whole) {
      EXPECT_EQ(Contents(Path() + ".broken"), start.file);
    }
    EXPECT_EQ(start.is_linked, fs::is_symlink(Path()));
    return is_new;
  }

  /// Afterwards everything works as if nothing had been, and nothing lies about.
  void CheckNextSave(const Start& start, bool is_kept_by_store, PreferenceStore* store) const {
    if (!is_kept_by_store) Change(store);
    EXPECT_TRUE(store->Synchronize(kWaitMs));
    EXPECT_TRUE(HasOldOrNew(start));
    std::set<std::string> names{"config", "config/app", "config/app/preferences", "config/app/preferences.lock"};
    if (start.is_linked) names.insert("real");
    if (!platform::ParsePreferences(start.file).is_whole) names.insert("config/app/preferences.broken");
    EXPECT_EQ(support::Tree(top_.Path()), names);
  }

  std::string Folder() const { return top_.File("config/app"); }
  std::string Path() const { return Folder() + "/preferences"; }

  const support::TempFolder top_;
};

/// Saves in a process that kills itself at the `number`th call. \return did it come to its end
bool SaveAndDieAt(int number, const std::string& folder) {
  const pid_t child = fork();
  if (child == 0) {
    most_at_once = 4096;
    on_call = [&number](const std::string&) {
      if (--number == 0) raise(SIGKILL);
      return 0;
    };
    PreferenceStore store(folder);
    Change(&store);
    _exit(store.Synchronize(kWaitMs) ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(status == 0 || (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) << status;
  return status == 0;
}

TEST_F(PreferencesFault, KilledAtAnyStepTheOldStateOrTheNewOneIsThere) {
  for (const Start& start : Starts()) {
    int number = 0, new_ones = 0;
    bool ended = false;
    while (!ended && !HasFailure() && number < kMostCalls) {
      Prepare(start);
      ended = SaveAndDieAt(++number, Folder());
      SCOPED_TRACE(std::string(start.name) + ", call " + std::to_string(number));
      const bool is_new = HasOldOrNew(start);
      EXPECT_TRUE(is_new || !ended);
      new_ones += is_new ? 1 : 0;
      PreferenceStore store(Folder());
      CheckNextSave(start, false, &store);
    }
    EXPECT_TRUE(ended) << start.name;
    EXPECT_GT(number, 10) << "what was killed was no save";
    EXPECT_GT(new_ones, 1) << "none was killed behind the change";
  }
}

/// What fails by itself and does not matter: it takes away what may not be there, closes or gives back.
bool MayFail(const std::string& call) { return call == "unlink" || call == "close"; }

/// A call that fails, and how far the save had come.
struct Failure {
  int number;  ///< of the call, counted from 1
  int error;
  std::string call = {};  ///< empty when there were not so many
  int renames = 0;        ///< before it

  int operator()(const std::string& next) {
    if (--number == 0) call = next;
    if (next == "rename" && number > 0) ++renames;
    return number == 0 ? error : 0;
  }
};

TEST_F(PreferencesFault, AFailureAtAnyStepLosesNothing) {
  for (const Start& start : Starts()) {
    const int needed_renames = platform::ParsePreferences(start.file).is_whole ? 1 : 2;
    for (const int error : {ENOSPC, EROFS, EMFILE}) {
      int number = 0;
      for (bool failed = true; failed && !HasFailure() && number < kMostCalls;) {
        Prepare(start);
        Failure failure{++number, error};
        on_call = std::ref(failure);
        most_at_once = 4096;
        PreferenceStore store(Folder());
        Change(&store);
        const bool done = store.Synchronize(kWaitMs);
        Restore();
        failed = !failure.call.empty();
        SCOPED_TRACE(std::string(start.name) + ", call " + std::to_string(number) + ' ' + failure.call + ": " +
                     std::to_string(error));
        EXPECT_EQ(store.HasChanges(), !done);
        const bool is_new = HasOldOrNew(start);
        EXPECT_EQ(is_new, done || failure.renames == needed_renames);
        const bool is_behind = failure.renames == needed_renames && failure.call == "flock";
        EXPECT_EQ(done, !failed || is_behind || MayFail(failure.call));
        CheckNextSave(start, !done, &store);
      }
      EXPECT_GT(number, 10);
      EXPECT_LT(number, kMostCalls);
    }
  }
}

TEST_F(PreferencesFault, InterruptedCallsAreMadeAgain) {
  for (const char* interrupted : {"read", "write", "flock"}) {
    Prepare(Starts()[2]);
    int calls = 0;
    on_call = [&](const std::string& call) { return call == interrupted && ++calls % 2 == 1 ? EINTR : 0; };
    most_at_once = 1000;
    PreferenceStore store(Folder());
    Change(&store);
    EXPECT_TRUE(store.Synchronize(kWaitMs)) << interrupted;
    Restore();
    EXPECT_GT(calls, 1) << interrupted;
    EXPECT_TRUE(HasOldOrNew(Starts()[2])) << interrupted;
  }
}

TEST_F(PreferencesFault, TheNewFileIsOnTheDiskBeforeItTakesThePlaceAndItsNameBeforeTheAnswer) {
  for (const Start& start : Starts()) {
    Prepare(start);
    std::string order;
    on_call = [&](const std::string& call) {
      if (call == "write" || call == "fsync" || call == "rename" || call == "mkdir") order += call + ' ';
      return 0;
    };
    PreferenceStore store(Folder());
    Change(&store);
    EXPECT_TRUE(store.Synchronize(kWaitMs));
    Restore();
    const std::string save = "write fsync rename fsync ";
    const bool is_damaged = !platform::ParsePreferences(start.file).is_whole;
    // A folder's name outlives a loss of power too, whoever has made it.
    EXPECT_EQ(order,
              (start.file.empty() ? "mkdir fsync mkdir fsync " : "mkdir mkdir ") + (is_damaged ? save : "") + save)
        << start.name;
  }
}

/// Saves in a process whose files may have so many bytes. \return whether it could
bool SaveWithAtMost(rlim_t size, const std::string& folder) {
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{size, size};
    PreferenceStore store(folder);
    Change(&store);
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
    const bool done = store.Synchronize(kWaitMs);
    _exit(done == store.HasChanges() ? 3 : done ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 2) << status;
  return status == 0;
}

TEST_F(PreferencesFault, WithoutRoomForAllOfItTheOldFileStays) {
  for (const Start& start : Starts()) {
    const rlim_t needed = platform::FormatPreferences(start.Changed()).size();
    for (const rlim_t size : {rlim_t{0}, rlim_t{1}, rlim_t{4096}, needed - 1, needed}) {
      SCOPED_TRACE(std::string(start.name) + ", " + std::to_string(size) + " bytes");
      Prepare(start);
      EXPECT_EQ(SaveWithAtMost(size, Folder()), size == needed);
      EXPECT_EQ(HasOldOrNew(start), size == needed);
      EXPECT_FALSE(support::IsThere(Path() + ".new"));
      PreferenceStore store(Folder());
      CheckNextSave(start, false, &store);
    }
  }
}

}  // namespace

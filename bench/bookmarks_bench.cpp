#include <stdio.h>
#include <sys/stat.h>
#include <time.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <tests/support/environment_variable.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LPlatformURL.h>
#include <tillvane/files/LSandboxBookmark.h>
#include <tillvane/platform/preferences.h>
#include <tillvane/platform/scoped_url.h>

#include "families.h"
#include "programs.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

using support::EnvironmentVariable;

/// Files that were granted, and the preferences of an application that kept the grants.
class Grants {
 public:
  /// \param files_of_a_folder how many of them lie together
  explicit Grants(int count, int files_of_a_folder = 100) : files_of_a_folder_(files_of_a_folder) {
    if (!workshop_.IsThere()) return;
    std::vector<std::string> keys;
    for (int i = 0; i < count; ++i) {
      keys.push_back("grant " + std::to_string(i));
      if (!Keep(keys.back(), i)) return;
    }
    platform::SetPreferenceTexts("SECURITY_BOOKMARK_KEYS", keys);
    is_there_ = platform::SynchronizePreferences() && FindPreferences();
  }

  bool IsThere() const { return is_there_; }
  const std::vector<std::string>& Paths() const { return paths_; }
  const std::string& Preferences() const { return preferences_; }

  /// Lets the next reader of the preferences read the file: by another name it is another one.
  void Forget() {
    const std::string other = workshop_.File("config-" + std::to_string(++others_));
    std::error_code error;
    fs::create_directory_symlink("config", other, error);
    config_home_.reset();
    config_home_ = std::make_unique<EnvironmentVariable>("XDG_CONFIG_HOME", other.c_str());
  }

  /// Each file becomes another one of the same name, as when an editor saves it.
  bool SaveAllAnew() const {
    for (const std::string& path : paths_) {
      const std::string fresh = path + ".new";
      if (mknod(fresh.c_str(), S_IFREG | 0600, 0) != 0 || rename(fresh.c_str(), path.c_str()) != 0) return false;
    }
    return true;
  }

 private:
  bool Keep(const std::string& key, int number) {
    const std::string folder = workshop_.File("granted-" + std::to_string(number / files_of_a_folder_));
    mkdir(folder.c_str(), 0700);
    paths_.push_back(folder + "/document-" + std::to_string(number) + ".txt");
    if (mknod(paths_.back().c_str(), S_IFREG | 0600, 0) != 0) return false;
    LPlatformURL* const url = LPlatformURLCreate(paths_.back().c_str());
    const auto bookmark = platform::ScopedBookmark(url);
    LPlatformURLRelease(url);
    if (bookmark) platform::SetPreferenceData(key.c_str(), *bookmark);
    return bookmark.has_value();
  }

  bool FindPreferences() {
    std::uintmax_t most = 0;
    for (const auto& entry : fs::recursive_directory_iterator(workshop_.File("config"))) {
      if (!entry.is_regular_file() || entry.file_size() < most) continue;
      most = entry.file_size();
      preferences_ = entry.path().string();
    }
    return most > 0;
  }

  const Workshop workshop_;
  const EnvironmentVariable home_{"HOME", workshop_.File("home").c_str()};
  std::unique_ptr<EnvironmentVariable> config_home_ =
      std::make_unique<EnvironmentVariable>("XDG_CONFIG_HOME", workshop_.File("config").c_str());
  const int files_of_a_folder_;
  std::vector<std::string> paths_;
  std::string preferences_;
  int others_ = 0;
  bool is_there_ = false;
};

bool HasAll(const Grants& grants) {
  std::size_t count = 0;
  const LSandboxBookmarkItem* item = LSandboxBookmarkManager::pInstance->items.head;
  for (; item != nullptr; item = item->next) count += item->accessing ? 1 : 0;
  return count == grants.Paths().size();
}

/// \return whether the preferences are as they were
bool TakeDown() {
  LSandboxBookmarkManager::Destroy();
  return platform::SynchronizePreferences();
}

Body Creations(const std::shared_ptr<Grants>& grants) {
  return [=](benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
      state.PauseTiming();
      grants->Forget();
      state.ResumeTiming();
      LSandboxBookmarkManager::Create();
      state.PauseTiming();
      const bool has_all = HasAll(*grants);
      if (!TakeDown() || !has_all) return state.SkipWithError("not every grant came back");
      state.ResumeTiming();
    }
  };
}

/// What it takes to read the bytes, and to see whether each file is there.
Body Looks(const std::shared_ptr<Grants>& grants) {
  return [=](benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
      std::ifstream file(grants->Preferences(), std::ios::binary);
      std::string text(static_cast<std::size_t>(fs::file_size(grants->Preferences())), '\0');
      file.read(text.data(), static_cast<std::streamsize>(text.size()));
      benchmark::DoNotOptimize(text.data());
      for (const std::string& path : grants->Paths()) {
        if (!LFile::TestFileExists(path.c_str())) return state.SkipWithError("a file is gone");
      }
    }
  };
}

double ProcessorSeconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void MeasureManager(const std::string& name, const std::shared_ptr<Grants>& grants, double goal, const Options& options,
                    Results* results) {
  Measure({name,
           {Clock::kThread},
           "LSandboxBookmarkManager::Create",
           Creations(grants),
           {Limit("read the file, TestFileExists each", Looks(grants), goal)},
           static_cast<int>(grants->Paths().size())},
          options, results);
}

/// \return the time of one creation
double MeasureCreations(int count, double goal, const Options& options, Results* results) {
  const auto grants = std::make_shared<Grants>(count);
  if (!grants->IsThere()) {
    results->NoteFailure("bookmarks: no grants to take over");
    return 0;
  }
  MeasureManager("a manager with " + std::to_string(count) + " grants", grants, goal, options, results);
  std::vector<double> times;
  for (int i = 0; i < 5; ++i) {
    grants->Forget();
    const double begin = ProcessorSeconds();
    LSandboxBookmarkManager::Create();
    times.push_back(ProcessorSeconds() - begin);
    TakeDown();
  }
  return Median(times);
}

void MeasureSavedAnew(int count, double goal, const Options& options, Results* results) {
  const auto grants = std::make_shared<Grants>(count, count);
  if (!grants->IsThere() || !grants->SaveAllAnew()) return results->NoteFailure("bookmarks: no grants to take over");
  MeasureManager(std::to_string(count) + " grants in one folder, all saved anew", grants, goal, options, results);
}

}  // namespace

void RunBookmarksFamily(const Options& options, Results* results) {
  PrintHead("bookmarks");
  // Of few, the preferences' own start is the most.
  constexpr double none = 0, tenfold = 10;
  MeasureCreations(10, none, options, results);
  const double some = MeasureCreations(1000, tenfold, options, results);
  const double many = MeasureCreations(10000, tenfold, options, results);
  MeasureSavedAnew(10000, tenfold, options, results);
  if (some <= 0 || many <= 0) return results->NoteFailure("bookmarks: growth");
  const double growth = many / some;
  results->Add({"a manager with 10000 grants through one with 1000", "", growth, growth, growth, 15});
}

}  // namespace bench

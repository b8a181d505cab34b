#include <glib.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include <tests/support/environment_variable.h>
#include <tillvane/files/LFile.h>

#include "families.h"
#include "programs.h"

namespace bench {

namespace {

using support::EnvironmentVariable;

/// A home in which a desktop has written down where its folders are.
class HomeOfADesktop {
 public:
  HomeOfADesktop() {
    mkdir(workshop_.File(".config").c_str(), 0700);
    std::ofstream file(workshop_.File(".config/user-dirs.dirs"));
    for (const char* name :
         {"DESKTOP", "DOWNLOAD", "TEMPLATES", "PUBLICSHARE", "DOCUMENTS", "MUSIC", "PICTURES", "VIDEOS"}) {
      file << "XDG_" << name << "_DIR=\"$HOME/" << name << "\"\n";
    }
  }

  std::string Downloads() const { return workshop_.File("DOWNLOAD"); }

 private:
  const Workshop workshop_;
  const EnvironmentVariable home_{"HOME", workshop_.File("").c_str()};
  const EnvironmentVariable config_home_{"XDG_CONFIG_HOME", nullptr};
  const EnvironmentVariable flatpak_id_{"FLATPAK_ID", nullptr};
};

// --- A folder of the desktop's ---

const char* GlibDownloads() { return g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD); }

/// Fails when what is measured does not answer what it is asked.
bool IsRight(benchmark::State& state, const std::string& answer, const std::string& expected) {
  if (answer != expected) state.SkipWithError(("the answer is '" + answer + "'").c_str());
  return answer == expected;
}

void OurDownloads(benchmark::State& state, const std::string& expected) {
  char path[260];
  for (auto _ : state) {
    LFile::GetUserDownloadFolder(path);
    benchmark::DoNotOptimize(path);
  }
  IsRight(state, path, expected);
}

void ReadGlibDownloads(benchmark::State& state, const std::string& expected) {
  for (auto _ : state) {
    g_reload_user_special_dirs_cache();
    benchmark::DoNotOptimize(GlibDownloads());
  }
  IsRight(state, GlibDownloads(), expected);
}

void KeptGlibDownloads(benchmark::State& state, const std::string& expected) {
  g_reload_user_special_dirs_cache();
  if (!IsRight(state, GlibDownloads(), expected)) return;
  for (auto _ : state) benchmark::DoNotOptimize(GlibDownloads());
}

void MeasureDownloads(const Options& options, Results* results) {
  const HomeOfADesktop home;
  const auto expecting = [&](void (*body)(benchmark::State&, const std::string&)) {
    return [=, expected = home.Downloads()](benchmark::State& state) { body(state, expected); };
  };
  // GLib looks into its memory first, and does not free it before it has been filled.
  GlibDownloads();
  Measure({"the folder of downloads, as a desktop has written it down",
           {Clock::kThread},
           "GetUserDownloadFolder",
           expecting(OurDownloads),
           {{"g_reload_user_special_dirs_cache, then asked", expecting(ReadGlibDownloads), 1.5},
            {"g_get_user_special_dir, kept in memory", expecting(KeptGlibDownloads)}}},
          options, results);
}

// --- Homes ---

template <void (*kGet)(char*)>
void OurHome(benchmark::State& state) {
  char path[260];
  for (auto _ : state) {
    kGet(path);
    benchmark::DoNotOptimize(path);
  }
}

/// What g_get_home_dir does before it has an answer to keep.
void EnvironmentsHome(benchmark::State& state) {
  for (auto _ : state) {
    const char* const home = g_getenv("HOME");
    char* const path = g_strdup(home != nullptr && g_path_is_absolute(home) != 0 ? home : "/");
    benchmark::DoNotOptimize(path);
    g_free(path);
  }
}

void KeptHome(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(g_get_home_dir());
}

void AccountsHome(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(getpwuid(getuid()));
}

void MeasureHomes(const Options& options, Results* results) {
  const HomeOfADesktop home;
  Measure({"the home",
           {Clock::kThread},
           "GetUserFolder",
           OurHome<LFile::GetUserFolder>,
           {{"g_getenv and g_strdup", EnvironmentsHome}, {"g_get_home_dir, kept in memory", KeptHome}}},
          options, results);
  Measure({"the home in the account",
           {Clock::kThread},
           "GetUserFolderNonSandboxed",
           OurHome<LFile::GetUserFolderNonSandboxed>,
           {{"getpwuid", AccountsHome, 1.2}}},
          options, results);
}

}  // namespace

void RunSpecialFoldersFamily(const Options& options, Results* results) {
  PrintHead("special_folders");
  MeasureDownloads(options, results);
  MeasureHomes(options, results);
}

}  // namespace bench

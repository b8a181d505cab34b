#include <fnmatch.h>
#include <glib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <tillvane/files/LFile.h>

#include "families.h"

namespace bench {

namespace {

struct Place {
  std::string folder, name, extension;
  std::string Path() const { return folder + '/' + name + extension; }
};

/// Paths as a home has them: short and long, deep and flat.
std::vector<Place> Places() {
  constexpr const char* folders[] = {"/home/anna",
                                     "/home/anna/Documents/Letters",
                                     "/usr/share/icons/hicolor/scalable/apps",
                                     "/media/anna/Holiday Backup/2024/Pictures/July",
                                     "/home/anna/.config/example",
                                     "/var/lib/flatpak/app/org.example.Editor/x86_64/stable/active/files/share/doc",
                                     "/tmp"};
  constexpr const char* names[] = {"letter", "IMG_20240714_183012", "archive.tar", "README", "data-2024-07", "x"};
  constexpr const char* extensions[] = {".txt", ".jpg", ".gz", "", ".db"};
  std::vector<Place> places;
  for (const char* folder : folders) {
    for (const char* name : names) {
      for (const char* extension : extensions) places.push_back({folder, name, extension});
    }
  }
  return places;
}

std::vector<std::string> Paths() {
  std::vector<std::string> paths;
  for (const Place& place : Places()) paths.push_back(place.Path());
  return paths;
}

template <class Items>
int Count(const Items& items) {
  return static_cast<int>(items.size());
}

// --- Splitting ---

using Split = void (*)(char*, const char*);

template <Split kSplit>
void OurParts(benchmark::State& state) {
  const std::vector<std::string> paths = Paths();
  char out[260];
  for (auto _ : state) {
    for (const std::string& path : paths) {
      kSplit(out, path.c_str());
      benchmark::DoNotOptimize(out);
    }
  }
}

using Part = std::filesystem::path (std::filesystem::path::*)() const;

/// What callers of a path as text have to do: the peer's own form is made of it first, and the text of the part last.
template <Part kPart>
void FilesystemParts(benchmark::State& state) {
  const std::vector<std::string> paths = Paths();
  for (auto _ : state) {
    for (const std::string& path : paths) {
      std::string part = (std::filesystem::path(path).*kPart)().string();
      benchmark::DoNotOptimize(part);
    }
  }
}

using GlibPart = char* (*)(const char*);

template <GlibPart kPart>
void GlibParts(benchmark::State& state) {
  const std::vector<std::string> paths = Paths();
  for (auto _ : state) {
    for (const std::string& path : paths) {
      char* const part = kPart(path.c_str());
      benchmark::DoNotOptimize(part);
      g_free(part);
    }
  }
}

/// No allocation and no bound: the last of one separator, and the part copied.
void PlainFiles(benchmark::State& state) {
  const std::vector<std::string> paths = Paths();
  char out[260];
  for (auto _ : state) {
    for (const std::string& path : paths) {
      const char* const separator = std::strrchr(path.c_str(), '/');
      std::strcpy(out, separator != nullptr ? separator + 1 : path.c_str());
      benchmark::DoNotOptimize(out);
    }
  }
}

void MeasureSplitting(const Options& options, Results* results) {
  using std::filesystem::path;
  const int count = Count(Paths());
  Measure({"the folder of a path",
           {Clock::kThread},
           "_GetFolderFromPath",
           OurParts<LFile::_GetFolderFromPath>,
           {{"std::filesystem::path::parent_path", FilesystemParts<&path::parent_path>, 0.1},
            {"g_path_get_dirname", GlibParts<g_path_get_dirname>, 0.8}},
           count},
          options, results);
  Measure({"the file of a path",
           {Clock::kThread},
           "_GetFileFromPath",
           OurParts<LFile::_GetFileFromPath>,
           {{"std::filesystem::path::filename", FilesystemParts<&path::filename>, 0.1},
            {"g_path_get_basename", GlibParts<g_path_get_basename>, 0.8},
            {"strrchr and strcpy, one separator", PlainFiles}},
           count},
          options, results);
  Measure({"the extension of a path",
           {Clock::kThread},
           "_GetFileExtensionFromPath",
           OurParts<LFile::_GetFileExtensionFromPath>,
           {{"std::filesystem::path::extension", FilesystemParts<&path::extension>, 0.1}},
           count},
          options, results);
}

// --- Joining ---

/// So long as it needs not grow, a buffer is all that it takes.
template <class Join>
void Joins(benchmark::State& state, Join join) {
  const std::vector<Place> places = Places();
  char out[260];
  for (auto _ : state) {
    for (const Place& place : places) {
      join(out, place);
      benchmark::DoNotOptimize(out);
    }
  }
}

void OurJoins(benchmark::State& state) {
  Joins(state, [](char* out, const Place& place) {
    LFile::_MakeFilePath(out, place.folder.c_str(), place.name.c_str(), place.extension.c_str());
  });
}

void PrintedJoins(benchmark::State& state) {
  Joins(state, [](char* out, const Place& place) {
    std::snprintf(out, 260, "%s/%s%s", place.folder.c_str(), place.name.c_str(), place.extension.c_str());
  });
}

void FilesystemJoins(benchmark::State& state) {
  Joins(state, [](char*, const Place& place) {
    std::filesystem::path path = std::filesystem::path(place.folder) / place.name;
    path += place.extension;
    benchmark::DoNotOptimize(path.c_str());
  });
}

void StringJoins(benchmark::State& state) {
  Joins(state, [](char*, const Place& place) {
    std::string path = place.folder + '/' + place.name + place.extension;
    benchmark::DoNotOptimize(path.data());
  });
}

void MeasureJoining(const Options& options, Results* results) {
  Measure({"a folder, a name and a suffix joined",
           {Clock::kThread},
           "_MakeFilePath",
           OurJoins,
           {{"std::filesystem::path, / and +=", FilesystemJoins, 0.1},
            {"std::string, +", StringJoins, 0.8},
            {"snprintf, always a slash", PrintedJoins, 0.3}},
           Count(Places())},
          options, results);
}

// --- Matching ---

struct Match {
  std::string pattern;
  std::vector<std::string> names;
};

void OurMatches(benchmark::State& state, const Match& match) {
  for (auto _ : state) {
    for (const std::string& name : match.names) {
      bool is_match = LFile::IsMatch<char>(match.pattern.c_str(), name.c_str());
      benchmark::DoNotOptimize(is_match);
    }
  }
}

void SystemMatches(benchmark::State& state, const Match& match) {
  for (auto _ : state) {
    for (const std::string& name : match.names) {
      int answer = fnmatch(match.pattern.c_str(), name.c_str(), 0);
      benchmark::DoNotOptimize(answer);
    }
  }
}

void GlibMatches(benchmark::State& state, const Match& match) {
  for (auto _ : state) {
    for (const std::string& name : match.names) {
      gboolean is_match = g_pattern_match_simple(match.pattern.c_str(), name.c_str());
      benchmark::DoNotOptimize(is_match);
    }
  }
}

void MeasureMatching(const std::string& title, const Match& match, double goal, const std::string& note,
                     const Options& options, Results* results) {
  Measure({title,
           {Clock::kThread},
           "IsMatch",
           [=](benchmark::State& state) { OurMatches(state, match); },
           {{"fnmatch", [=](benchmark::State& state) { SystemMatches(state, match); }, goal, note},
            {"g_pattern_match_simple", [=](benchmark::State& state) { GlibMatches(state, match); }}},
           Count(match.names)},
          options, results);
}

std::string Repeat(std::string_view text, std::size_t count) {
  std::string all;
  for (; count > 0; --count) all += text;
  return all;
}

void MeasureOrdinaryPatterns(const Options& options, Results* results) {
  std::vector<std::string> names;
  for (const Place& place : Places()) names.push_back(place.name + place.extension);
  const auto measure = [&](const std::string& pattern, double goal, const std::string& note = {}) {
    MeasureMatching("names beside '" + pattern + "'", {pattern, names}, goal, note, options, results);
  };
  measure("*.txt", 0.5);
  measure("IMG_*.jpg", 0.5);
  measure("IMG_????????_*.jpg", 0.5);
  measure("*2024*", 0.8,
          "Runs beside many other processes have given 0.51 to 0.94. Measuring the pattern in one loop instead of two "
          "searches takes up to a tenth off, but misses the goal of '*?*?...?', which has 258 characters; a loop "
          "instead of memchr for short names gains on an idle core and loses on a busy one. Neither is kept.");
}

/// Each is about as long as a name may be, or a path; what makes a search long is that nearly everything fits.
void MeasureHostilePatterns(std::size_t length, const Options& options, Results* results) {
  const std::string name(length, 'a');
  const struct {
    const char* what;
    std::string pattern;
  } hostile[] = {{"a*a*...b", Repeat("a*", length / 2 - 1) + "b"},
                 {"*a*a...b*", Repeat("*a", length / 2 - 1) + "b*"},
                 {"*a?*a?...b*", Repeat("*a?", length / 3 - 1) + "b*"},
                 {"*aaa...ab*", "*" + Repeat("a", length / 2) + "b*"},
                 {"*aaa...aba...a*", "*" + Repeat("a", length / 4) + "b" + Repeat("a", length / 4) + "*"},
                 {"*?*?...?", Repeat("*?", length / 2)}};
  for (const auto& [what, pattern] : hostile) {
    MeasureMatching(std::to_string(length) + " times 'a' beside '" + what + "'", {pattern, {name}}, 1.0, "", options,
                    results);
  }
}

}  // namespace

void RunPathsFamily(const Options& options, Results* results) {
  PrintHead("paths");
  MeasureSplitting(options, results);
  MeasureJoining(options, results);
  MeasureOrdinaryPatterns(options, results);
  MeasureHostilePatterns(60, options, results);
  MeasureHostilePatterns(259, options, results);
}

}  // namespace bench

#include <glib.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <tillvane/text/LCommandLineArgumentStringExpander.h>
#include <tillvane/text/LStringLists.h>
#include <tillvane/text/LStringURI.h>

#include "families.h"

namespace bench {

namespace {

/// About so many bytes are read in one pass, and times are for one byte.
constexpr std::size_t kBytes = 64 * 1024;

std::string Repeat(const std::string& line) {
  std::string text;
  while (text.size() + line.size() <= kBytes) text += line;
  return text;
}

/// Lines of ten numbers of one to eight digits: as with real ones, nobody can foresee where the next one ends.
std::string Numbers() {
  std::mt19937 random(1);
  std::string text;
  for (int i = 1; text.size() < kBytes; ++i) {
    text += std::to_string(random() >> (random() % 24 + 8));
    text += i % 10 == 0 ? '\n' : ',';
  }
  return text;
}

int Count(const std::string& text) { return static_cast<int>(text.size()); }

// --- Lists ---

constexpr const char* kNoteOfNumbers =
    "Most of the time of both is that nobody can foresee where a number ends. That ours compares most bytes instead of "
    "looking up what they are, and notes an item's end once for a run of them, took 10 to 15 percent off.";

void OurItems(benchmark::State& state, const std::string& text) {
  char item[260];
  for (auto _ : state) {
    unsigned long position = 0;
    while (text[position] != '\0') {
      GetCSVListItem(text.c_str(), position, item, sizeof item);
      benchmark::DoNotOptimize(item);
      if (text[position] == '\n') ++position;
    }
  }
}

/// The rules as one would write them down: a character at a time. A call, as ours is.
[[gnu::noinline]] void PlainItem(const char* text, unsigned long& position, char* item, unsigned long size) {
  unsigned long length = 0, cut = 0;
  bool in_quotes = false;
  for (;; ++position) {
    const char c = text[position];
    if (c == '\0' || c == '\n' || c == '\r') break;
    if (c == '"') {
      in_quotes = !in_quotes;
    } else if (c == ',' && !in_quotes) {
      ++position;
      break;
    } else if (c != ' ' || in_quotes || length > 0) {
      if (length < size - 1) item[length++] = c;
      if (c != ' ' || in_quotes) cut = length;
    }
  }
  item[cut] = '\0';
}

void PlainItems(benchmark::State& state, const std::string& text) {
  char item[260];
  for (auto _ : state) {
    unsigned long position = 0;
    while (text[position] != '\0') {
      PlainItem(text.c_str(), position, item, sizeof item);
      benchmark::DoNotOptimize(item);
      if (text[position] == '\n') ++position;
    }
  }
}

/// Without quotes and spaces, and without copies: what it costs to find the commas.
void SplitAtCommas(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    std::string_view rest = text;
    while (!rest.empty()) {
      std::string_view item = rest.substr(0, rest.find_first_of(",\n"));
      benchmark::DoNotOptimize(item);
      rest.remove_prefix(std::min(item.size() + 1, rest.size()));
    }
  }
}

void MeasureItems(const char* title, const std::string& text, double goal, const std::string& note,
                  const Options& options, Results* results) {
  Measure({title,
           {Clock::kThread},
           "GetCSVListItem",
           [=](benchmark::State& state) { OurItems(state, text); },
           {{"the same rules, a character at a time", [=](benchmark::State& state) { PlainItems(state, text); }, goal,
             note},
            {"string_view::find_first_of, no rules, no copy",
             [=](benchmark::State& state) { SplitAtCommas(state, text); }}},
           Count(text)},
          options, results);
}

// --- URIs ---

constexpr const char* kNoteOfEscapes =
    "Ours asks for sixteen bytes at once whether they need escapes; where none does that takes a third of the time of "
    "a "
    "look at each. It needs a compiler that makes vectors of it: without them it costs more than it saves.";

void OurEscapes(benchmark::State& state, const std::string& text) {
  std::vector<char> out(3 * text.size());
  for (auto _ : state) {
    LFixedLengthStringWriterTemplate<char> writer{out.data(), 0, static_cast<unsigned int>(out.size())};
    LURIEncodeToWriterDirect(writer, text.c_str());
    benchmark::DoNotOptimize(out.data());
  }
}

void PlainEscapes(benchmark::State& state, const std::string& text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::vector<char> out(3 * text.size());
  for (auto _ : state) {
    char *at = out.data(), *const end = at + out.size();
    const auto put = [&](char c) {
      if (at != end) *at++ = c;
    };
    for (const char c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (std::isalnum(byte) != 0 || std::strchr("-!._~", c) != nullptr) {
        put(c);
      } else {
        put('%');
        put(digits[byte / 16]);
        put(digits[byte % 16]);
      }
    }
    benchmark::DoNotOptimize(out.data());
  }
}

void GlibEscapes(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    char* const escaped = g_uri_escape_string(text.c_str(), "!", FALSE);
    benchmark::DoNotOptimize(escaped);
    g_free(escaped);
  }
}

void MeasureEscapes(const char* title, const std::string& line, const Options& options, Results* results) {
  const std::string text = Repeat(line);
  Measure({title,
           {Clock::kThread},
           "LURIEncodeToWriterDirect",
           [=](benchmark::State& state) { OurEscapes(state, text); },
           {{"g_uri_escape_string", [=](benchmark::State& state) { GlibEscapes(state, text); }, 0.4, kNoteOfEscapes},
            {"isalnum and strchr, a character at a time", [=](benchmark::State& state) { PlainEscapes(state, text); },
             0.5}},
           Count(text)},
          options, results);
}

// --- Arguments ---

void OurArguments(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    LCommandLineArgumentStringExpander arguments(text.c_str());
    while (arguments.NextArgument()) benchmark::DoNotOptimize(arguments.GetArgument());
  }
}

void GlibArguments(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    int count = 0;
    char** arguments = nullptr;
    if (g_shell_parse_argv(text.c_str(), &count, &arguments, nullptr) == FALSE) state.SkipWithError("no command line");
    benchmark::DoNotOptimize(arguments);
    g_strfreev(arguments);
  }
}

void PlainArguments(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    std::string argument;
    for (const char* at = text.c_str(); *at != '\0';) {
      argument.clear();
      while (*at != '\0' && static_cast<unsigned char>(*at) <= ' ') ++at;
      for (bool in_quotes = false; *at != '\0';) {
        const char c = *at++;
        if (c == ' ' && !in_quotes) break;
        if (c == '"') {
          if (in_quotes) break;
          in_quotes = true;
        } else if (c == '\\' && *at == ' ') {
          argument += *at++;
        } else {
          argument += c;
        }
      }
      benchmark::DoNotOptimize(argument.data());
    }
  }
}

void MeasureArguments(const char* title, const std::string& line, const Options& options, Results* results) {
  const std::string text = Repeat(line);
  Measure({title,
           {Clock::kThread},
           "NextArgument",
           [=](benchmark::State& state) { OurArguments(state, text); },
           {{"the same rules into a std::string", [=](benchmark::State& state) { PlainArguments(state, text); }, 1.0,
             "Both look at each byte once. Copying words without a call took a fifth off; what is left beyond the peer "
             "are calls to say how long the argument is, once for each."},
            {"g_shell_parse_argv", [=](benchmark::State& state) { GlibArguments(state, text); }, 0.25}},
           Count(text)},
          options, results);
}

}  // namespace

void RunStringsFamily(const Options& options, Results* results) {
  PrintHead("strings");
  MeasureItems("a list of numbers, a byte of it", Numbers(), 1.1, kNoteOfNumbers, options, results);
  MeasureItems(
      "a list of names and quoted texts, a byte of it",
      Repeat("Anna Maria Example, \"Long Street 12, 1010 Vienna\",anna.maria@example.org , Monthly newsletter\n"), 0.6,
      "", options, results);
  MeasureEscapes("a URI's words, a byte of it", "local stores/price list 2024 (final).txt ", options, results);
  MeasureEscapes("a URI's non-Latin text, a byte of it", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", options, results);
  MeasureEscapes("a URI's name that needs no escape, a byte of it", "Price-list_2024.final.txt", options, results);
  MeasureArguments("a command line, words, a byte of it", "copy -v --target=/usr/share/doc/example file.txt other ",
                   options, results);
  MeasureArguments("a command line, quotes and backslashes, a byte of it",
                   "copy \"/media/My Disk/long name.txt\" My\\ Other\\ Folder/name ", options, results);
}

}  // namespace bench

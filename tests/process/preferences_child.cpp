// A host with preferences; its arguments are what it does, one after the other. It ends without synchronising unless it
// is told to.
//
//   set KEY TEXT | remove KEY | show KEY | synchronize | at-exit KEY TEXT | fork COMMAND... join | quick-exit
//   count KEY MS     sets KEY to 1, 2, 3 and so on, writes each, and says the last one
//   busy-fork        forks again and again while other threads write; each child writes too

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <tillvane/platform/preferences.h>

namespace {

using Words = std::vector<std::string>;

void Set(const std::string& key, const std::string& text) { platform::SetPreferenceText(key.c_str(), text); }

std::string late_key, late_text;

void SetAtExit(const std::string& key, const std::string& text) {
  late_key = key;
  late_text = text;
  // Before the library has anything of its own to do at the end: this runs after it.
  if (std::atexit([] { Set(late_key, late_text); }) != 0) std::abort();
}

void Show(const std::string& key) {
  const auto text = platform::PreferenceText(key.c_str());
  std::printf("%s\n", text ? text->c_str() : "none");
}

void Synchronize() {
  const bool done = platform::SynchronizePreferences();
  std::puts(done ? "true" : "false");
}

void Count(const std::string& key, int ms) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  int count = 0;
  while (std::chrono::steady_clock::now() < end) {
    Set(key, std::to_string(count + 1));
    if (!platform::SynchronizePreferences()) break;
    ++count;
  }
  std::printf("%d\n", count);
}

int EndOf(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void BusyFork() {
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int round = 0; !done; ++round) {
      Set("parent", std::to_string(round));
      platform::SynchronizePreferences();
    }
  });
  int good = 0;
  constexpr int kForks = 15;
  for (int round = 0; round < kForks; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      // One that hangs is a failure, and not for ever.
      alarm(60);
      Set("child", std::to_string(round));
      std::exit(platform::SynchronizePreferences() ? 0 : 1);
    }
    good += EndOf(child) == 0 ? 1 : 0;
  }
  done = true;
  writer.join();
  std::printf("%d of %d\n", good, kForks);
}

/// \return the words behind the "join" that belongs to a "fork" before them
Words BehindJoin(const Words& words) {
  std::size_t used = 0;
  for (int depth = 1; depth > 0; ++used) {
    if (words[used] == "fork") ++depth;
    if (words[used] == "join") --depth;
  }
  return {words.begin() + static_cast<Words::difference_type>(used), words.end()};
}

/// The child goes on with the next words, the parent behind them when the child has ended.
Words Fork(const Words& words) {
  const Words next(words.begin() + 1, words.end());
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) return next;
  if (EndOf(child) != 0) std::exit(1);
  return BehindJoin(next);
}

/// \return the words that are left
Words Do(Words words) {
  if (words[0] == "fork") return Fork(words);
  if (words[0] == "join") return {};
  const std::string command = words[0];
  words.resize(words.size() < 3 ? 3 : words.size());
  std::size_t used = 1;
  if (command == "set") Set(words[1], words[2]), used = 3;
  if (command == "at-exit") SetAtExit(words[1], words[2]), used = 3;
  if (command == "count") Count(words[1], std::atoi(words[2].c_str())), used = 3;
  if (command == "remove") platform::RemovePreference(words[1].c_str()), used = 2;
  if (command == "show") Show(words[1]), used = 2;
  if (command == "synchronize") Synchronize();
  if (command == "busy-fork") BusyFork();
  if (command == "quick-exit") std::fflush(stdout), _exit(0);
  words.erase(words.begin(), words.begin() + static_cast<Words::difference_type>(used));
  return words;
}

}  // namespace

int main(int count, char** arguments) {
  Words words(arguments + 1, arguments + count);
  while (!words.empty() && !words[0].empty()) words = Do(words);
  return 0;
}

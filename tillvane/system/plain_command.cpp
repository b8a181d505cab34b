#include <tillvane/system/plain_command.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include <tillvane/platform/child_program.h>

namespace commands {

namespace {

constexpr std::string_view kBlanks = " \t";

// What one of dash, bash, ksh, mksh, zsh or busybox takes for its own, in the order of its bytes. `which` is missing on
// purpose: zsh's own gives the same answer for a program.
constexpr std::string_view kShellsOwn[] = {
    ".",        "alias",     "autoload", "bg",       "bind",       "bindkey", "break",     "builtin", "bye",
    "caller",   "case",      "cat",      "cd",       "chdir",      "command", "compctl",   "compgen", "complete",
    "compopt",  "continue",  "coproc",   "declare",  "dirs",       "disable", "disown",    "do",      "done",
    "echo",     "elif",      "else",     "emulate",  "enable",     "end",     "esac",      "eval",    "exec",
    "exit",     "export",    "false",    "fc",       "fg",         "fi",      "float",     "for",     "foreach",
    "function", "functions", "getconf",  "getln",    "getopts",    "global",  "hash",      "help",    "hist",
    "history",  "if",        "in",       "integer",  "jobs",       "kill",    "let",       "limit",   "local",
    "log",      "login",     "logout",   "mapfile",  "mknod",      "nameref", "namespace", "newgrp",  "nocorrect",
    "noglob",   "nohup",     "popd",     "print",    "printf",     "pushd",   "pushln",    "pwd",     "r",
    "read",     "readarray", "readonly", "realpath", "redirect",   "rehash",  "rename",    "repeat",  "return",
    "sched",    "select",    "set",      "setopt",   "shift",      "shopt",   "sleep",     "source",  "stop",
    "suspend",  "test",      "then",     "time",     "times",      "trap",    "true",      "ttyctl",  "type",
    "typeset",  "ulimit",    "umask",    "unalias",  "unfunction", "unhash",  "unlimit",   "unset",   "unsetopt",
    "until",    "vared",     "wait",     "whence",   "where",      "while",   "zle",       "zmodload"};
static_assert(std::is_sorted(std::begin(kShellsOwn), std::end(kShellsOwn)));

// Variables that a shell sets for itself where it finds them, or that say how it reads.
constexpr std::string_view kShellsVariables[] = {
    "BASHOPTS", "BASH_ENV", "ENV",  "EPOCHREALTIME", "EPOCHSECONDS", "HISTCMD", "IFS",       "LINENO",
    "OPTERR",   "OPTIND",   "PPID", "PS4",           "RANDOM",       "SECONDS", "SHELLOPTS", "SRANDOM"};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsPlainCharacter(char c) {
  return IsLetter(c) || IsDigit(c) || (c != '\0' && std::strchr("%+,-./:=@_ \t", c) != nullptr);
}

bool IsProgram(std::string_view word) {
  const char first = word.front();
  if (!IsLetter(first) && !IsDigit(first) && std::strchr("./_", first) == nullptr) return false;
  if (word.find('=') != std::string_view::npos) return false;
  return word.find('/') != std::string_view::npos ||
         !std::binary_search(std::begin(kShellsOwn), std::end(kShellsOwn), word);
}

bool IsPlainVariable(const char* entry) {
  const std::size_t length = std::strcspn(entry, "=");
  const std::string_view name(entry, length);
  if (entry[length] == '\0' || name.empty() || IsDigit(name.front())) return false;
  if (!std::all_of(name.begin(), name.end(), [](char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }))
    return false;
  return std::find(std::begin(kShellsVariables), std::end(kShellsVariables), name) == std::end(kShellsVariables);
}

bool IsPlainEnvironment() {
  char* const* entry = platform::Environment();
  if (entry == nullptr) return false;
  while (*entry != nullptr && IsPlainVariable(*entry)) ++entry;
  return *entry == nullptr;
}

bool IsPlainPath() {
  const char* const path = std::getenv("PATH");
  return path != nullptr && std::strpbrk(path, "%~") == nullptr;
}

bool IsCurrentFolderKnown() {
  const char* const folder = std::getenv("PWD");
  struct stat named, current;
  if (folder == nullptr || *folder != '/') return false;
  const std::string_view path(folder);
  for (const char* detour : {"//", "/./", "/../"}) {
    if (path.find(detour) != std::string_view::npos) return false;
  }
  if (path.ends_with("/.") || path.ends_with("/..") || (path.ends_with('/') && path.size() > 1)) return false;
  return stat(folder, &named) == 0 && stat(".", &current) == 0 && named.st_dev == current.st_dev &&
         named.st_ino == current.st_ino;
}

}  // namespace

PlainCommand::PlainCommand(const char* command) : text_(command) {
  if (!std::all_of(text_.begin(), text_.end(), IsPlainCharacter)) return;
  const std::size_t begin = text_.find_first_not_of(kBlanks);
  if (begin == std::string::npos) return;
  if (!IsProgram(std::string_view(text_).substr(begin, text_.find_first_of(kBlanks, begin) - begin))) return;
  if (!IsPlainPath() || !IsPlainEnvironment() || !IsCurrentFolderKnown()) return;
  for (std::size_t at = begin; at != std::string::npos;) {
    words_.push_back(text_.data() + at);
    const std::size_t end = text_.find_first_of(kBlanks, at);
    at = text_.find_first_not_of(kBlanks, end);
    if (end != std::string::npos) text_[end] = '\0';
  }
  words_.push_back(nullptr);
}

}  // namespace commands

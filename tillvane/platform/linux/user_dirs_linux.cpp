// The user's folders as desktops write them down, a line each; a shell can read it too.
//
//     line = [blanks] "XDG_" NAME "_DIR" [blanks] "=" [blanks] '"' path '"' anything
//     path = ["$HOME"] *( "/" *character )      at least one of the two
//
// A backslash before a character, whatever it is, gives that character. Any other line says nothing.

#include <tillvane/platform/linux/user_dirs_linux.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace platform {

namespace {

constexpr std::string_view kHome = "$HOME";

void SkipBlanks(std::string_view* text) { text->remove_prefix(std::min(text->find_first_not_of(" \t"), text->size())); }

bool Skip(std::string_view* text, std::string_view expected) {
  if (!text->starts_with(expected)) return false;
  text->remove_prefix(expected.size());
  return true;
}

/// Reads on to the closing quote. \return false when there is none
bool ReadQuoted(std::string_view text, std::string* value) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '"') return true;
    if (text[at] == '\\' && ++at == text.size()) return false;
    *value += text[at];
  }
  return false;
}

/// \param text what follows the opening quote
std::string ReadPath(std::string_view text, const std::string& home) {
  std::string path;
  if (Skip(&text, kHome)) {
    if (!text.starts_with('/') && !text.starts_with('"')) return {};
    path = home;
  } else if (!text.starts_with('/')) {
    return {};
  }
  // A path with a NUL would end there, and be another one.
  if (!ReadQuoted(text, &path) || path.find('\0') != std::string::npos) return {};
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path.starts_with("//") ? path.substr(path.find_first_not_of('/') - 1) : path;
}

std::string ReadLine(std::string_view line, std::string_view name, const std::string& home) {
  SkipBlanks(&line);
  if (!Skip(&line, "XDG_") || !Skip(&line, name) || !Skip(&line, "_DIR")) return {};
  SkipBlanks(&line);
  if (!Skip(&line, "=")) return {};
  SkipBlanks(&line);
  return Skip(&line, "\"") ? ReadPath(line, home) : std::string();
}

}  // namespace

std::string UserDirectoryOf(std::string_view text, std::string_view name, const std::string& home) {
  std::string folder;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (std::string path = ReadLine(text.substr(0, end), name, home); !path.empty()) folder = std::move(path);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return folder;
}

}  // namespace platform

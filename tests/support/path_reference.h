#pragma once

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// The operations on paths done a character at a time, as plainly as they can be said: what faster ways are compared
/// with. Texts have no terminator here; a character behind the end is 0.

namespace support::reference {

constexpr std::size_t kMostCharacters = 259;

/// An output and what the operation answers.
struct PathAnswer {
  std::string out;
  unsigned long result;
  bool operator==(const PathAnswer&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const PathAnswer& answer) {
  return stream << '"' << answer.out << "\", " << answer.result;
}

inline char At(const std::string& text, std::size_t index) { return index < text.size() ? text[index] : '\0'; }
inline bool IsSeparator(char c) { return c == '/' || c == '\\'; }
inline bool EndsInSeparator(const std::string& text) { return !text.empty() && IsSeparator(text.back()); }
inline std::string Cut(const std::string& text) { return text.substr(0, kMostCharacters); }

inline std::string Folder(const std::string& path) {
  std::string copy;
  std::size_t last = 0;
  for (std::size_t i = 0; i < path.size() && i < kMostCharacters; ++i) {
    if (IsSeparator(path[i])) last = i;
    copy += path[i];
  }
  if (last > 0) return copy.substr(0, last);
  return At(path, 0) == '/' ? "/" : "";
}

inline std::string BaseFolder(const std::string& path) {
  std::string copy;
  for (std::size_t i = 0; i < path.size() && i < kMostCharacters; ++i) {
    copy += path[i];
    if (i >= 2 && IsSeparator(path[i])) break;
  }
  if (copy.size() >= 2 && EndsInSeparator(copy)) copy.pop_back();
  return copy;
}

inline std::string File(const std::string& path) {
  std::string file;
  for (const char c : path) {
    file += c;
    if (IsSeparator(c)) file.clear();
  }
  return Cut(file);
}

inline std::string FileName(const std::string& path) {
  const std::string file = File(path);
  std::size_t last_dot = 0;
  for (std::size_t i = 0; i < file.size(); ++i) {
    if (file[i] == '.') last_dot = i;
  }
  return last_dot > 0 ? file.substr(0, last_dot) : file;
}

inline std::string Extension(const std::string& path) {
  std::string extension;
  for (const char c : path) {
    if (IsSeparator(c)) extension.clear();
    if (c == '.')
      extension = c;
    else if (!extension.empty() && !IsSeparator(c))
      extension += c;
  }
  return Cut(extension);
}

inline std::string WithExtension(const std::string& path, const std::string& extension) {
  const std::string copy = Cut(path);
  std::size_t dot = 0;
  for (std::size_t i = 0; i < copy.size(); ++i) {
    if (IsSeparator(copy[i])) dot = 0;
    if (copy[i] == '.') dot = i;
  }
  return Cut((dot > 0 ? copy.substr(0, dot) : copy) + extension);
}

inline PathAnswer Join(const std::string& folder, const std::string& name, const std::string& suffix) {
  std::string out = folder.substr(0, kMostCharacters - 1);
  if (!out.empty() && !EndsInSeparator(out)) out += '/';
  const std::string added = (name + suffix).substr(0, kMostCharacters - out.size());
  return {out + added, added.size()};
}

inline bool IsAbsolute(const std::string& path) {
  if (IsSeparator(At(path, 0))) return true;
  for (const char c : path) {
    if (IsSeparator(c)) return false;
    if (c == ':') return true;
  }
  return false;
}

inline PathAnswer Absolute(const std::string& base, const std::string& relative, const std::string& suffix) {
  if (IsAbsolute(relative)) return Join("", relative, suffix);
  std::string current = base, rest = relative;
  for (;;) {
    if (At(rest, 0) == '.' && IsSeparator(At(rest, 1))) {
      rest = rest.substr(2);
      continue;
    }
    if (At(rest, 0) != '.' || At(rest, 1) != '.' || !IsSeparator(At(rest, 2))) break;
    current = Cut(current);
    const int n = static_cast<int>(current.size());
    if (n < 2) break;
    rest = rest.substr(3);
    int index = n - 3;
    for (int examined = 0; examined < n - 2; ++examined, --index) {
      if (!IsSeparator(current[static_cast<std::size_t>(index)])) continue;
      current = current.substr(0, static_cast<std::size_t>(index));
      break;
    }
  }
  return Join(current, rest, suffix);
}

inline PathAnswer Relative(const std::string& base, const std::string& target) {
  const std::string from = !base.empty() && base.back() == '/' ? base : Cut(base + '/');
  std::size_t i = 0;
  while (i < from.size() && i < target.size() && from[i] == target[i]) ++i;
  std::string steps;
  for (std::size_t left = i; left < from.size(); ++left) {
    if (from[left] == '/') steps += "../";
  }
  return {steps + Cut(target.substr(At(target, i) == '/' ? i + 1 : i)), 1};
}

inline PathAnswer RelativeFromAbsolute(const std::string& base, const std::string& target) {
  std::size_t i = 0;
  int last = -1;
  while (i < base.size() && i < target.size() && base[i] == target[i]) {
    if (IsSeparator(base[i])) last = static_cast<int>(i);
    ++i;
  }
  if (last < 0 && (i < base.size() || !IsSeparator(At(target, i)))) return {Cut(target), 1};
  if (i == base.size() && (IsSeparator(At(target, i)) || IsSeparator(At(target, i - 1)))) {
    return {Cut(target.substr(IsSeparator(At(target, i)) ? i + 1 : i)), 1};
  }
  int steps = 1;
  for (int at = static_cast<int>(i); at <= static_cast<int>(base.size()) - 2; ++at) {
    if (IsSeparator(base[static_cast<std::size_t>(at)])) ++steps;
  }
  if (static_cast<int>(target.size()) - last - 1 + 3 * steps > 260) return {"", 0};
  std::string out;
  for (int step = 0; step < steps; ++step) out += std::string("..") + target[static_cast<std::size_t>(last)];
  return {Cut(out + target.substr(static_cast<std::size_t>(last) + 1)), 1};
}

inline std::string Without(std::string_view dropped, const std::string& text) {
  std::string kept;
  for (const char c : text) {
    const bool is_control = c >= 1 && c <= 31;
    if (!is_control && dropped.find(c) == std::string_view::npos && kept.size() < kMostCharacters) kept += c;
  }
  return kept;
}

inline PathAnswer CleanName(const std::string& name) {
  const std::string kept = Without("\"*/:<>?\\|", name);
  return {kept, kept.empty() ? 0UL : 1UL};
}

inline PathAnswer CleanPath(const std::string& path) {
  const std::string kept = Without("\"*:<>?|", path);
  const bool has_more = std::any_of(kept.begin(), kept.end(), [](char c) { return c != ' '; });
  return {kept, has_more ? 1UL : 0UL};
}

inline std::string Escaped(const std::string& path) {
  std::string escaped;
  for (const char c : path) {
    if ((c == '"' || c == '`') && escaped.size() < kMostCharacters) escaped += '\\';
    if (escaped.size() < kMostCharacters) escaped += c;
  }
  return escaped;
}

/// What is true of each two ends of the texts follows from shorter ends: no search, and no more than their product.
inline bool IsMatch(const std::string& pattern, const std::string& name) {
  std::vector<bool> shorter(name.size() + 1, false);  // does the pattern's end match the name from here on?
  shorter[name.size()] = true;
  for (std::size_t p = pattern.size(); p-- > 0;) {
    std::vector<bool> matches(name.size() + 1, false);
    for (std::size_t n = name.size() + 1; n-- > 0;) {
      const bool has_more = n < name.size();
      if (pattern[p] == '*') {
        matches[n] = shorter[n] || (has_more && matches[n + 1]);
      } else {
        matches[n] = has_more && (pattern[p] == '?' || pattern[p] == name[n]) && shorter[n + 1];
      }
    }
    shorter = matches;
  }
  return shorter[0];
}

inline PathAnswer SizeText(unsigned long long size) {
  const auto in_units = [&](int power, const char* unit) { return std::to_string(size >> power) + ' ' + unit; };
  std::string text = in_units(40, "TB");
  if (size <= (1ULL << 40) - 1) text = in_units(30, "GB");
  if (size <= (1ULL << 30) - 1) text = in_units(20, "MB");
  if (size <= (1ULL << 20) - 1) text = in_units(10, "KB");
  if (size <= 1023) text = in_units(0, "Bytes");
  return {text, text.size()};
}

}  // namespace support::reference

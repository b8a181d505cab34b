// A pattern is a head, then for every '*' what follows it up to the next one. The head stands at the beginning of the
// name and the last piece at its end, which both can be asked at once. Each piece between them is looked for where the
// one before it ends: whatever comes later, the first place is as good as any other, so that nothing is tried twice.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <tillvane/files/LFile.h>

namespace {

bool Fits(char pattern, char name) { return pattern == name || pattern == '?'; }

/// Does the piece stand at the name's end?
bool EndsWith(std::string_view name, std::string_view piece) {
  return name.size() >= piece.size() && std::equal(piece.rbegin(), piece.rend(), name.rbegin(), Fits);
}

/// Where the name goes on behind the first place of the piece in it; npos when there is none.
/// \param piece is not made of '?' alone
std::size_t FindEnd(std::string_view name, std::string_view piece) {
  if (name.size() < piece.size()) return std::string_view::npos;
  const std::size_t letter = piece.find_first_not_of('?');
  const char* const last_place = name.data() + (name.size() - piece.size());
  for (const char* place = name.data(); place <= last_place; ++place) {
    const auto left = static_cast<std::size_t>(last_place - place) + 1;
    const void* const found = std::memchr(place + letter, piece[letter], left);
    if (found == nullptr) break;
    place = static_cast<const char*>(found) - letter;
    const auto end = static_cast<std::size_t>(place - name.data()) + piece.size();
    if (EndsWith(name.substr(0, end), piece)) return end;
  }
  return std::string_view::npos;
}

/// Do the pieces stand in the name, one after the other?
bool HasPieces(std::string_view name, std::string_view pieces) {
  const char *const name_end = name.data() + name.size(), *const pieces_end = pieces.data() + pieces.size();
  const char *place = name.data(), *piece = pieces.data();
  for (const char *at = place, *wanted = piece; wanted != pieces_end;) {
    if (*wanted == '*') {
      piece = ++wanted;
      place = at;
    } else if (at == name_end) {
      return false;
    } else if (Fits(*wanted, *at)) {
      ++wanted;
      ++at;
    } else {
      // Not here, because of one of its letters: then it is worth while to look for it further on.
      wanted = std::find(wanted, pieces_end, '*');
      ++place;
      const std::size_t end = FindEnd({place, static_cast<std::size_t>(name_end - place)},
                                      {piece, static_cast<std::size_t>(wanted - piece)});
      if (end == std::string_view::npos) return false;
      at = place + end;
    }
  }
  return true;
}

}  // namespace

template <>
bool LFile::IsMatch(const char* pattern, const char* name) {
  for (; *pattern != '*'; ++pattern, ++name) {
    if (*pattern == '\0') return *name == '\0';
    if (*name == '\0' || !Fits(*pattern, *name)) return false;
  }
  std::string_view rest = name;
  const std::string_view pieces = pattern + 1;
  const std::size_t last_star = pieces.rfind('*');
  const std::string_view last = pieces.substr(last_star == std::string_view::npos ? 0 : last_star + 1);
  if (!EndsWith(rest, last)) return false;
  rest.remove_suffix(last.size());
  return last_star == std::string_view::npos || HasPieces(rest, pieces.substr(0, last_star));
}

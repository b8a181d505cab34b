#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>

using files::kPathLength;

namespace {

using Bytes = std::array<bool, 256>;

/// The control characters and these.
constexpr Bytes Dropped(std::string_view characters) {
  Bytes dropped{};
  for (std::size_t control = 1; control < ' '; ++control) dropped[control] = true;
  for (const char c : characters) dropped[static_cast<unsigned char>(c)] = true;
  return dropped;
}

constexpr Bytes kDroppedInNames = Dropped("\"*/:<>?\\|");
constexpr Bytes kDroppedInPaths = Dropped("\"*:<>?|");

void CopyWithout(const Bytes& dropped, const char* from, char* out) {
  std::size_t length = 0;
  for (; length < kPathLength && *from != '\0'; ++from) {
    // What is dropped is overwritten by what comes next: no branch that nobody can foresee.
    out[length] = *from;
    length += dropped[static_cast<unsigned char>(*from)] ? 0U : 1U;
  }
  out[length] = '\0';
}

}  // namespace

int LFile::PreprocessName(const char* name, char* out) {
  CopyWithout(kDroppedInNames, name, out);
  return out[0] != '\0' ? 1 : 0;
}

int LFile::PreprocessPath(const char* path, char* out) {
  CopyWithout(kDroppedInPaths, path, out);
  return out[std::strspn(out, " ")] != '\0' ? 1 : 0;
}

char* LFile::EscapeFilePath(const char* path, char* out) {
  std::size_t length = 0;
  for (; length < kPathLength && *path != '\0'; ++path) {
    if (*path == '"' || *path == '`') out[length++] = '\\';
    if (length < kPathLength) out[length++] = *path;
  }
  out[length] = '\0';
  return out;
}

int LFileIsLetterOrNumber(char character) {
  const bool is_letter = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
  return is_letter || (character >= '0' && character <= '9') ? 1 : 0;
}

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>

using files::FittingLength;
using files::IsSeparator;
using files::kPathLength;
using files::kPathSize;
using files::StorePath;

namespace {

constexpr std::size_t kStepLength = 3;

/// So many steps up and then `length` characters. These come first: they may lie in the output.
void StoreSteps(char* out, std::size_t steps, char separator, const char* rest, std::size_t length) {
  StorePath(out + kStepLength * steps, rest, length);
  for (; steps > 0; --steps) {
    *out++ = '.';
    *out++ = '.';
    *out++ = separator;
  }
}

bool EndsInSlash(const char* path) {
  const std::size_t length = std::strlen(path);
  return length > 0 && path[length - 1] == '/';
}

}  // namespace

int LFile::MakeRelativeFilePath(char* out, const char* base, const char* target) {
  char with_slash[kPathSize];
  if (!EndsInSlash(base)) {
    const std::size_t length = FittingLength(base);
    std::memcpy(with_slash, base, length);
    StorePath(with_slash + length, "/", std::min<std::size_t>(kPathLength - length, 1));
    base = with_slash;
  }
  for (; *base != '\0' && *base == *target; ++base) ++target;
  if (*target == '/') ++target;
  const auto steps = static_cast<std::size_t>(std::count(base, base + std::strlen(base), '/'));
  StoreSteps(out, steps, '/', target, FittingLength(target));
  return 1;
}

int LFile::MakeRelativeFolder(char* out, const char* base, const char* target) {
  return MakeRelativeFilePath(out, base, target);
}

int LFile::GetRelativePathFromAbsolutePath(char* out, const char* base, const char* target) {
  std::size_t common = 0, name = 0;  // `name`: behind the last separator that both have
  for (; base[common] != '\0' && base[common] == target[common]; ++common) {
    if (IsSeparator(base[common])) name = common + 1;
  }
  const bool is_base_over = base[common] == '\0', is_name_over = IsSeparator(target[common]);
  if (name == 0 && !(is_base_over && is_name_over)) {
    StorePath(out, target, FittingLength(target));
    return 1;
  }
  if (is_base_over && (is_name_over || name == common)) {
    const char* const inside = target + common + (is_name_over ? 1 : 0);
    StorePath(out, inside, FittingLength(inside));
    return 1;
  }
  std::size_t steps = 1;
  for (const char* at = base + common; at[0] != '\0' && at[1] != '\0'; ++at) steps += IsSeparator(*at) ? 1U : 0U;
  const std::size_t length = std::strlen(target + name);
  if (length + kStepLength * steps > kPathSize) {
    out[0] = '\0';
    return 0;
  }
  StoreSteps(out, steps, target[name - 1], target + name, std::min(length, kPathLength - kStepLength * steps));
  return 1;
}

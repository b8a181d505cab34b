#include <tillvane/tillvane.h>

#include <cstdio>
#include <cstring>

#include "commands.h"

namespace toolkit {

namespace {

/// What every output of an operation on paths holds.
using Path = char[260];

/// The way between two folders may be longer, by what stands for each '/' of the base.
constexpr std::size_t kMostSteps = 260;

int Split(int, char** arguments) {
  struct Part {
    const char* name;
    void (*get)(char* part, const char* path);
  };
  constexpr Part parts[] = {
      {"folder", &LFile::_GetFolderFromPath},
      {"base folder", &LFile::_GetBaseFolderFromPath},
      {"file", &LFile::_GetFileFromPath},
      {"name", &LFile::_GetFileNameFromPath},
      {"extension", &LFile::_GetFileExtensionFromPath},
  };
  for (const Part& part : parts) {
    Path text;
    part.get(text, arguments[0]);
    std::printf("%-11s %s\n", part.name, text);
  }
  return kDone;
}

int Absolute(int, char** arguments) {
  // A base ends with a separator: joined with nothing it does.
  Path base, path;
  LFile::_MakeFilePath(base, arguments[0], "", "");
  LFile::MakeAbsoluteFilePath(path, base, arguments[1], "");
  std::puts(path);
  return kDone;
}

int Relative(int, char** arguments) {
  if (std::strlen(arguments[0]) >= sizeof(Path)) return kWrongUse;
  char path[sizeof(Path) + 3 * kMostSteps];
  LFile::MakeRelativeFilePath(path, arguments[0], arguments[1]);
  std::puts(path);
  return kDone;
}

int Match(int count, char** arguments) {
  int status = kNothing;
  for (int i = 1; i < count; ++i) {
    if (!LFile::IsMatch(arguments[0], static_cast<const char*>(arguments[i]))) continue;
    std::puts(arguments[i]);
    status = kDone;
  }
  return status;
}

struct Operation {
  const char* name;
  int least, most;  ///< arguments
  int (*run)(int count, char** arguments);
};

constexpr int kAny = 1 << 20;
constexpr Operation kOperations[] = {
    {"split", 1, 1, &Split},
    {"absolute", 2, 2, &Absolute},
    {"relative", 2, 2, &Relative},
    {"match", 2, kAny, &Match},
};

}  // namespace

int PathCommand(int count, char** arguments) {
  for (const Operation& operation : kOperations) {
    if (count < 1 || std::strcmp(arguments[0], operation.name) != 0) continue;
    if (count - 1 < operation.least || count - 1 > operation.most) break;
    return operation.run(count - 1, arguments + 1);
  }
  return kWrongUse;
}

}  // namespace toolkit

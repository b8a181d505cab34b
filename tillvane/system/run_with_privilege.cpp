#include <unistd.h>

#include <cstdio>
#include <cstring>

#include <tillvane/platform/authorization.h>
#include <tillvane/system/LRunCommand.h>
#include <tillvane/system/command_process.h>
#include <tillvane/text/LCommandLineArgumentStringExpander.h>
#include <tillvane/text/LStringFields.h>
#include <tillvane/text/LVector.h>

namespace {

enum Result { kStarted = 0, kCancelled = 1, kFailed = 2 };

/// A vector of arguments, each in an allocation of its own, with a null at the end.
class Arguments {
 public:
  explicit Arguments(unsigned long count) {
    texts_.SetSize(count + 1);
    for (unsigned long i = 0; i <= count; ++i) texts_.data[i] = nullptr;
  }
  ~Arguments() {
    for (unsigned long i = 0; texts_.data[i] != nullptr; ++i) delete[] texts_.data[i];
  }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  void Set(unsigned long index, const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    texts_.data[index] = new char[size];
    std::memcpy(texts_.data[index], text, size);
  }
  char* const* Get() const { return texts_.data; }

 private:
  LVector<char*> texts_;
};

void CopyToStandardOutput(int output) {
  // What the host has written so far comes first.
  std::fflush(stdout);
  char chunk[260];
  long count;
  // Read to the end even if nobody takes it: the tool is not to be ended for that.
  while ((count = commands::ReadOnce(output, chunk, sizeof chunk)) > 0) {
    commands::WriteAll(STDOUT_FILENO, chunk, static_cast<unsigned int>(count));
  }
}

unsigned long Count(const char* const* arguments) {
  unsigned long count = 0;
  while (arguments != nullptr && arguments[count] != nullptr) ++count;
  return count;
}

}  // namespace

int LRunCommandWithPrivilege(LProcessInterface&, const char* tool, char* const* arguments, bool echoOutput) {
  char path[260];
  LUnixExecutableGetAbsolutePath(path, tool);
  // A folder of $PATH may be a relative one, and where the tool runs is not for it to say what runs.
  if (path[0] != '/') return kFailed;
  platform::PrivilegedTool started;
  const platform::Authorization answer = platform::StartPrivilegedTool(path, arguments, &started);
  if (answer != platform::Authorization::kStarted) {
    return answer == platform::Authorization::kCancelled ? kCancelled : kFailed;
  }
  if (echoOutput) CopyToStandardOutput(started.output);
  platform::LeavePrivilegedTool(started, echoOutput);
  return kStarted;
}

int LRunCommandWithPrivilege(LProcessInterface& process, const char* tool, const char* const* arguments,
                             bool echoOutput) {
  const unsigned long count = Count(arguments);
  Arguments copies(count);
  for (unsigned long i = 0; i < count; ++i) copies.Set(i, arguments[i]);
  return LRunCommandWithPrivilege(process, tool, copies.Get(), echoOutput);
}

int LRunCommandWithPrivilege(LProcessInterface& process, const char* commandLine, bool echoOutput) {
  LCommandLineArgumentStringExpander words(commandLine);
  const unsigned long count = words.GetArgumentCount(commandLine);
  words.NextArgument();
  char tool[260];
  LParseGetToCharacters(words.GetArgument(), "", tool);
  Arguments copies(count);
  for (unsigned long i = 0; i < count && words.NextArgument(); ++i) copies.Set(i, words.GetArgument());
  return LRunCommandWithPrivilege(process, tool, copies.Get(), echoOutput);
}

bool LRunCommandWithPrivilege(const char* commandLine, bool echoOutput) {
  LProcessInterfaceVoid nobody;
  return LRunCommandWithPrivilege(nobody, commandLine, echoOutput) == kStarted;
}

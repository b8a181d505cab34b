#include <tillvane/system/command_process.h>

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/core/poll_for.h>
#include <tillvane/platform/child_program.h>
#include <tillvane/system/plain_command.h>

namespace commands {

namespace {

constexpr unsigned int kNoLimit = 0xFFFFFFFF;

int Start(const char* program, char* const* arguments, int input, int output) {
  platform::ChildProgram child;
  child.program = program;
  child.arguments = arguments;
  child.environment = platform::Environment();
  child.input = input;
  child.output = output;
  return platform::StartProgram(child);
}

/// After a call that failed: is it to be made again? Waits until that makes sense.
bool IsToBeRepeated(int descriptor, short event) {
  if (errno == EAGAIN) {
    pollfd ready{descriptor, event, 0};
    core::PollFor(&ready, 1, kNoLimit);
    return true;
  }
  return errno == EINTR;
}

}  // namespace

int StartCommand(const char* command, int input, int output) {
  if (command == nullptr) {
    errno = EINVAL;
    return -1;
  }
  const PlainCommand plain(command);
  if (plain.IsPlain()) {
    const int process = Start(plain.Words()[0], plain.Words(), input, output);
    if (process >= 0) return process;
  }
  // Nothing writes to the words, whatever the system's declaration says.
  char* const arguments[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), const_cast<char*>(command), nullptr};
  return Start("/bin/sh", arguments, input, output);
}

long ReadOnce(int descriptor, void* buffer, unsigned int length) {
  long count;
  do {
    count = read(descriptor, buffer, length);
  } while (count < 0 && IsToBeRepeated(descriptor, POLLIN));
  return count;
}

unsigned int WriteAll(int descriptor, const void* bytes, unsigned int length) {
  const char* const all = static_cast<const char*>(bytes);
  unsigned int done = 0;
  while (done < length) {
    const long count = write(descriptor, all + done, length - done);
    if (count >= 0) {
      done += static_cast<unsigned int>(count);
    } else if (!IsToBeRepeated(descriptor, POLLOUT)) {
      break;
    }
  }
  return done;
}

}  // namespace commands

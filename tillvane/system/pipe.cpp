#include <tillvane/system/LPipe.h>

#include <unistd.h>

#include <cstddef>

#include <tillvane/platform/child_program.h>
#include <tillvane/platform/pipe.h>
#include <tillvane/system/command_process.h>

// The order and the widths of the fields are part of the binary interface.
static_assert(offsetof(LPipeIn, stream) == 0 && offsetof(LPipeIn, filedes) == sizeof(void*));
static_assert(offsetof(LPipeOut, stream) == 0 && offsetof(LPipeOut, filedes) == sizeof(void*));
static_assert(offsetof(LPipeInOut, readFiledes) == 0 && offsetof(LPipeInOut, writeFiledes) == 4);
static_assert(offsetof(LPipeInOut, process) == 8 && sizeof(LPipeInOut) == 12);

namespace {

void CloseDescriptor(int* descriptor) {
  if (*descriptor >= 0) close(*descriptor);
  *descriptor = -1;
}

void Reap(int* process) {
  if (*process > 0) platform::WaitForProgram(*process);
  *process = -1;
}

/// A pipe's two ends; those that are still here at the end of this are closed.
struct Ends {
  Ends() : is_open(platform::OpenChildPipe(ends)) {}
  ~Ends() {
    for (int& end : ends) CloseDescriptor(&end);
  }
  Ends(const Ends&) = delete;
  Ends& operator=(const Ends&) = delete;

  int Take(int index) {
    const int taken = ends[index];
    ends[index] = -1;
    return taken;
  }

  int ends[2];
  bool is_open;
};

constexpr int kRead = 0, kWrite = 1;

/// Opens the pipe of a stream in one direction: this process keeps the end `kept`.
template <class Pipe>
bool OpenStream(Pipe& pipe, const char* command, int kept, const char* mode) {
  pipe.Close();
  Ends ends;
  if (!ends.is_open) return false;
  // Before the command, which then runs only if all else is there.
  pipe.stream = fdopen(ends.ends[kept], mode);
  if (pipe.stream == nullptr) return false;
  pipe.filedes = ends.Take(kept);
  const int childs = ends.ends[1 - kept];
  pipe.process = commands::StartCommand(command, kept == kWrite ? childs : -1, kept == kRead ? childs : -1);
  if (pipe.process < 0) pipe.Close();
  return pipe.process >= 0;
}

template <class Pipe>
void CloseStream(Pipe& pipe) {
  if (pipe.stream != nullptr) std::fclose(pipe.stream);
  pipe.stream = nullptr;
  pipe.filedes = -1;
  Reap(&pipe.process);
}

}  // namespace

LPipeIn::~LPipeIn() { Close(); }

bool LPipeIn::_Open(const char* command) { return OpenStream(*this, command, kRead, "r"); }

unsigned int LPipeIn::Read(void* buffer, unsigned int length) {
  if (length == 0 || filedes < 0) return 0;
  const long count = commands::ReadOnce(filedes, buffer, length);
  if (count > 0) return static_cast<unsigned int>(count);
  Close();
  return 0;
}

void LPipeIn::Close() { CloseStream(*this); }

LPipeOut::~LPipeOut() { Close(); }

bool LPipeOut::_Open(const char* command) { return OpenStream(*this, command, kWrite, "w"); }

unsigned int LPipeOut::Write(const void* buffer, unsigned int length) {
  if (length == 0 || filedes < 0) return 0;
  std::fflush(stream);
  const unsigned int count = commands::WriteAll(filedes, buffer, length);
  if (count < length) Close();
  return count;
}

void LPipeOut::Close() { CloseStream(*this); }

LPipeInOut::~LPipeInOut() { Close(); }

bool LPipeInOut::_Open(const char* command) {
  Close();
  Ends from_child, to_child;
  if (!from_child.is_open || !to_child.is_open) return false;
  process = commands::StartCommand(command, to_child.ends[kRead], from_child.ends[kWrite]);
  if (process < 0) return false;
  readFiledes = from_child.Take(kRead);
  writeFiledes = to_child.Take(kWrite);
  return true;
}

unsigned int LPipeInOut::Read(void* buffer, unsigned int length) {
  if (length == 0 || readFiledes < 0) return 0;
  const long count = commands::ReadOnce(readFiledes, buffer, length);
  if (count > 0) return static_cast<unsigned int>(count);
  CloseDescriptor(&readFiledes);
  return 0;
}

unsigned int LPipeInOut::Write(const void* buffer, unsigned int length) {
  if (length == 0 || writeFiledes < 0) return 0;
  const unsigned int count = commands::WriteAll(writeFiledes, buffer, length);
  if (count < length) CloseWrite();
  return count;
}

void LPipeInOut::CloseWrite() { CloseDescriptor(&writeFiledes); }

void LPipeInOut::Close() {
  CloseDescriptor(&readFiledes);
  CloseWrite();
  Reap(&process);
}

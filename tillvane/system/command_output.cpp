#include <tillvane/system/command_output.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <tillvane/core/sleep_for.h>
#include <tillvane/system/LRunCommand.h>
#include <tillvane/text/LStringFields.h>
#include <tillvane/text/LStringFormat.h>

namespace commands {

namespace {

constexpr unsigned int kPiece = 259;
// One read takes the pieces that are there already. It gives the same ones as a read each.
constexpr unsigned int kPieces = 63;

/// Twice the room each time it is full, so that long output is not copied for each piece.
void Append(LStringLong& text, const char* bytes, std::size_t count) {
  const unsigned long length = text.size(), size = length + count + 1;
  if (text.capacity() < size) text.GrowToSize(std::max(size, 2UL * text.capacity()));
  std::memcpy(text.data() + length, bytes, count);
  text.SetLength(length + count);
}

void AppendPieces(LStringLong& output, const char* bytes, unsigned int count) {
  for (unsigned int at = 0; at < count; at += kPiece) {
    const std::size_t piece = std::min(kPiece, count - at);
    Append(output, bytes + at, strnlen(bytes + at, piece));
  }
}

}  // namespace

void AppendOutput(LStringLong& output, LPipeIn& pipe) {
  char buffer[kPiece * kPieces];
  while (const unsigned int count = pipe.Read(buffer, sizeof buffer)) AppendPieces(output, buffer, count);
}

}  // namespace commands

int LRunCommandAndGetOutputAsString(LStringLongTemplate<char>& output, const char* command) {
  output.SetLength(0);
  LPipeIn pipe;
  if (!pipe._Open(command)) return 0;
  // On purpose: callers count on the time that it gives the command.
  core::SleepFor(100);
  commands::AppendOutput(output, pipe);
  return 0;
}

void LUnixExecutableGetAbsolutePath(char* dest, const char* name) {
  if (name != nullptr && *name == '/') {
    LParseGetToCharacters(name, "", dest);
    return;
  }
  char command[260];
  tplsnprintf(command, sizeof command, "which %s", name);
  LStringLong output;
  LRunCommandAndGetOutputAsString(output, command);
  LParseGetToCharacters(output.c_str(), "\n\r", dest);
}

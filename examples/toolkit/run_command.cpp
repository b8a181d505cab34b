#include <tillvane/tillvane.h>

#include <cstdio>

#include "commands.h"

namespace toolkit {

int RunCommand(int count, char** arguments) {
  if (count != 1) return kWrongUse;
  // Piece by piece, so that it shows what a command writes while it runs; LRunCommandAndGetOutputAsString collects it.
  LPipeIn pipe;
  if (!pipe._Open(arguments[0])) return kNothing;
  char piece[4096];
  while (const unsigned int size = pipe.Read(piece, sizeof piece)) {
    std::fwrite(piece, 1, size, stdout);
    std::fflush(stdout);
  }
  return kDone;
}

int SudoCommand(int count, char** arguments) {
  if (count < 1) return kWrongUse;
  // Nobody is asked meanwhile whether this is to stop: the question for rights is the system's.
  LProcessInterfaceVoid process;
  constexpr bool echo_output = true;
  switch (LRunCommandWithPrivilege(process, arguments[0], arguments + 1, echo_output)) {
    case 0:
      return kDone;
    case 1:
      std::fputs("toolkit: cancelled\n", stderr);
      return kCancelled;
    default:
      std::fputs("toolkit: not allowed, or there is no such tool\n", stderr);
      return kNothing;
  }
}

}  // namespace toolkit

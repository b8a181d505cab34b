#include "line_listener.h"

#include <cstdio>
#include <string>

#include "line_io.h"

namespace line_server {

// This object is the process interface of what its thread does: when it is asked to stop, a receive ends within 200
// milliseconds, and the conversation with it.
void LineListener::ProcessConnection(LIPSocketTCP& socket) {
  std::printf("visitor %u has come\n", ++visitors_);
  unsigned int lines = 0;
  std::string line;
  while (ReceiveLine(*this, socket, &line, kLongestLine, timeout_) == kDone && line != "quit") {
    if (SendLine(*this, socket, std::to_string(++lines) + " " + line, timeout_) != kDone) break;
  }
  std::printf("visitor %u has gone after %u lines\n", visitors_, lines);
}

}  // namespace line_server

#include "line_io.h"

#include <array>

namespace line_server {

unsigned int ReceiveLine(LProcessInterface& process, LIPSocketTCPRef socket, std::string* line, std::size_t longest,
                         unsigned int timeout) {
  line->clear();
  while (line->size() <= longest + 1) {
    std::array<char, 256> part;
    unsigned long received;
    const unsigned int code =
        ProcessRecvToCharacter(process, socket, part.data(), part.size(), received, "\n", timeout);
    if (code != kDone) return code;
    line->append(part.data(), received);
    // A line that comes in several pieces, or is longer than the buffer, comes in several calls.
    if (line->back() != '\n') continue;
    line->pop_back();
    if (!line->empty() && line->back() == '\r') line->pop_back();
    return line->size() <= longest ? kDone : kFailed;
  }
  return kFailed;
}

unsigned int SendLine(LProcessInterface& process, LIPSocketTCPRef socket, const std::string& line,
                      unsigned int timeout) {
  const std::string whole = line + "\r\n";
  return ProcessSend(process, socket, whole.data(), whole.size(), timeout);
}

}  // namespace line_server

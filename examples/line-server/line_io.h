#pragma once

#include <tillvane/tillvane.h>

#include <string>

namespace line_server {

/// What the functions for sockets answer.
enum Code : unsigned int { kDone = 0, kStopped = 1, kFailed = 2 };

/// No line is longer, so that nobody fills the memory.
constexpr std::size_t kLongestLine = 1000;

/// Receives a line.
/// \param line receives it without its end; what has come of it when the answer is not kDone
/// \return kFailed also when it is too long, and when the peer closes before its end
unsigned int ReceiveLine(LProcessInterface& process, LIPSocketTCPRef socket, std::string* line, unsigned int timeout);

/// Sends a line and its end.
unsigned int SendLine(LProcessInterface& process, LIPSocketTCPRef socket, const std::string& line,
                      unsigned int timeout);

}  // namespace line_server

#pragma once

#include <tillvane/tillvane.h>

#include <string>

namespace line_server {

/// What the functions for sockets answer.
enum Code : unsigned int { kDone = 0, kStopped = 1, kFailed = 2 };

/// Nobody fills the memory: no line is longer, and no answer, which has a number in front.
constexpr std::size_t kLongestLine = 1000, kLongestAnswer = kLongestLine + 20;

/// Receives a line.
/// \param line receives it without its end; what has come of it when the answer is not kDone
/// \param longest so many bytes without the end
/// \return kFailed also when it is longer, and when the peer closes before its end
unsigned int ReceiveLine(LProcessInterface& process, LIPSocketTCPRef socket, std::string* line, std::size_t longest,
                         unsigned int timeout);

/// Sends a line and its end.
unsigned int SendLine(LProcessInterface& process, LIPSocketTCPRef socket, const std::string& line,
                      unsigned int timeout);

}  // namespace line_server

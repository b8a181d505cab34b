#pragma once

#include <tillvane/tillvane.h>

namespace line_server {

/// Answers each line with its number and the line, one visitor after the other. A visitor who says nothing for too long
/// is left, so that the next one has a turn; "quit" ends the conversation.
class LineListener final : public LTCPListener {
 public:
  /// \param timeout so many milliseconds it waits for a line, and for an answer to be taken
  LineListener(unsigned short port, unsigned int timeout) : LTCPListener(port), timeout_(timeout) {}
  /// Ends the thread before the members that it uses.
  ~LineListener() override { StopThreadAndWait(); }

  void ProcessConnection(LIPSocketTCP& socket) override;
  void ListenerReserved() override {}

 private:
  const unsigned int timeout_;
  unsigned int visitors_ = 0;  ///< the listener's thread's
};

}  // namespace line_server

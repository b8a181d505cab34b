// A server for lines of text and its client, without an event loop: a listener is a thread, and Ctrl-C a signal object.
//
// Read line_listener.cpp for the server, client.cpp for the client and line_io.cpp for how either receives a line.

#include <cstdio>
#include <optional>

#include "client.h"
#include "ctrl_c.h"
#include "line_io.h"
#include "line_listener.h"
#include "options.h"

namespace {

constexpr int kWrongUse = 2;
/// What a shell makes of a program that Ctrl-C has ended.
constexpr int kStoppedByCtrlC = 130;
/// The system's ordinary priority.
constexpr int kPriority = 31;

/// Says what becomes of the port, until Ctrl-C.
void ShowPort(const LTCPListener& listener, line_server::CtrlC& ctrl_c) {
  // Long enough to be had by then, if it is free.
  const bool is_taken = !ctrl_c.Wait(100) && listener.BoundPort() == 0;
  if (is_taken) std::puts("the port is taken; it is tried again every 30 seconds");
  unsigned short shown = 0;
  do {
    const unsigned short port = listener.BoundPort();
    if (port != shown && port != 0) std::printf("listening on port %u; Ctrl-C ends this\n", port);
    shown = port;
  } while (!ctrl_c.Wait(100));
}

int Serve(line_server::CtrlC& ctrl_c, const line_server::Options& options) {
  line_server::LineListener listener(options.port, options.timeout);
  listener.Start(kPriority);
  ShowPort(listener, ctrl_c);
  listener.StopThreadAndWait();
  std::puts("stopped");
  return kStoppedByCtrlC;
}

int Talk(line_server::CtrlC& ctrl_c, const line_server::Options& options) {
  const unsigned int code = line_server::TalkToServer(ctrl_c, options);
  return code == line_server::kStopped ? kStoppedByCtrlC : static_cast<int>(code == line_server::kFailed);
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  const std::optional<line_server::Options> options = line_server::ReadCommandLine(argc, argv);
  if (!options) return kWrongUse;
  line_server::CtrlC ctrl_c;
  return options->host.empty() ? Serve(ctrl_c, *options) : Talk(ctrl_c, *options);
}

#include "line_input.h"

#include <glib-unix.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>

namespace storefront {

namespace {

/// What a line has beyond this is dropped.
constexpr std::size_t kLongestLine = 1000;

}  // namespace

std::optional<std::string> LineInput::ReadLine(LProcessEventsHandler& loop) {
  for (;;) {
    if (loop.IsProcessEventHandlerToStop()) return std::nullopt;
    if (std::optional<std::string> line = TakeLine()) return line;
    if (ended_ || !WaitForMore(loop)) return std::nullopt;
  }
}

bool LineInput::WaitForMore(LProcessEventsHandler& loop) {
  arrived_.Reset();
  // The descriptor is watched only while a line is wanted: what is typed meanwhile waits in the terminal, and a closed
  // pipe, which is readable for ever, does not spin. A question that comes up while the menu waits shares the watch, or
  // the second of two reads would block.
  const guint source = watched_ ? 0 : g_unix_fd_add(descriptor_, G_IO_IN, Readable, this);
  watched_ = true;
  const int outcome = loop.ProcessWaitSignalForeverAndProcessEvents(arrived_);
  if (source != 0) {
    g_source_remove(source);
    watched_ = false;
  }
  return outcome == 0;
}

gboolean LineInput::Readable(gint, GIOCondition, gpointer self) {
  static_cast<LineInput*>(self)->Receive();
  return G_SOURCE_CONTINUE;
}

// The descriptor stays a blocking one: that flag would belong to everybody who shares the terminal. A read that follows
// "readable" does not block.
void LineInput::Receive() {
  char bytes[256];
  const ssize_t size = read(descriptor_, bytes, sizeof bytes);
  if (size < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (size > 0) {
    pending_.append(bytes, static_cast<std::size_t>(size));
  } else {
    ended_ = true;
  }
  if (pending_.size() > kLongestLine && pending_.find('\n') == std::string::npos) pending_.resize(kLongestLine);
  arrived_.Signal();
}

std::optional<std::string> LineInput::TakeLine() {
  const std::size_t end = pending_.find('\n');
  if (end == std::string::npos && (!ended_ || pending_.empty())) return std::nullopt;
  std::string line = pending_.substr(0, end);
  pending_.erase(0, end == std::string::npos ? end : end + 1);
  return line;
}

void LineInput::DropTypedAhead() {
  if (isatty(descriptor_) != 1) return;
  tcflush(descriptor_, TCIFLUSH);
  pending_.clear();
}

}  // namespace storefront

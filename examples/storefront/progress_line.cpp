#include "progress_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace storefront {

namespace {

constexpr unsigned int kTickMs = 10;
constexpr unsigned int kTicksPerDrawing = 10;
/// Where nothing moves, one line tells after this many ticks that it takes long.
constexpr unsigned int kTicksBeforeNotice = 100;
constexpr double kSecond = 1e6;

/// A terminal that understands the two controls used here: back to the start of the line, erase the rest of it.
bool CanRedraw() {
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && terminal != nullptr && *terminal != '\0' && std::strcmp(terminal, "dumb") != 0;
}

std::size_t Columns() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string Format(const char* format, auto... values) {
  char text[160];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

}  // namespace

ProgressLine::ProgressLine() : is_terminal_(CanRedraw()) {}

ProgressLine::~ProgressLine() {
  if (timer_ != 0) g_source_remove(timer_);
}

void ProgressLine::BeginStep(const char* title) {
  title_ = title;
  has_waited_ = false;
  ticks_ = 0;
  waited_us_ = 0;
}

void ProgressLine::EndStep() {
  const double seconds = static_cast<double>(waited_us_) / kSecond;
  if (!has_waited_) {
    std::puts("  answered at once, without a wait");
  } else if (ticks_ == 0 && waited_us_ < 2000 * kTickMs) {
    std::printf("  waited %.0f ms: over before the host's own timer ticked (every %u ms)\n", seconds * 1000, kTickMs);
  } else {
    std::printf("  waited %.2f s, %u tick%s of the host's own timer\n", seconds, ticks_, ticks_ == 1 ? "" : "s");
  }
}

void ProgressLine::BeginWait(unsigned int ms) {
  has_waited_ = true;
  if (depth_++ > 0) return;
  wait_began_us_ = g_get_monotonic_time();
  wait_ends_us_ = ms == kNoLimit ? 0 : wait_began_us_ + gint64{1000} * ms;
  timer_ = g_timeout_add(kTickMs, Tick, this);
}

void ProgressLine::EndWait() {
  if (--depth_ > 0) return;
  g_source_remove(timer_);
  timer_ = 0;
  waited_us_ += g_get_monotonic_time() - wait_began_us_;
  Erase();
}

void ProgressLine::Hide() {
  Erase();
  hidden_ = true;
  hidden_since_us_ = g_get_monotonic_time();
}

void ProgressLine::Show() {
  hidden_ = false;
  if (wait_ends_us_ != 0) wait_ends_us_ += g_get_monotonic_time() - hidden_since_us_;
}

gboolean ProgressLine::Tick(gpointer self) {
  ProgressLine& line = *static_cast<ProgressLine*>(self);
  ++line.ticks_;
  if (line.hidden_) return G_SOURCE_CONTINUE;
  // A step that is over within the first drawing's time does not flicker.
  if (line.is_terminal_ && line.ticks_ % kTicksPerDrawing == 0) line.Draw();
  if (!line.is_terminal_ && line.ticks_ == kTicksBeforeNotice) {
    std::printf("  %s takes a while%s\n", line.title_, line.Limit().c_str());
  }
  return G_SOURCE_CONTINUE;
}

std::string ProgressLine::Limit() const {
  const gint64 left_us = std::max<gint64>(wait_ends_us_ - g_get_monotonic_time(), 0);
  const std::string left = Format(", %.0f s left", static_cast<double>(left_us) / kSecond);
  return (wait_ends_us_ != 0 ? left : "") + ", Ctrl-C stops";
}

void ProgressLine::Draw() const {
  const char spinner = "|/-\\"[ticks_ / kTicksPerDrawing % 4];
  const gint64 elapsed_us = waited_us_ + g_get_monotonic_time() - wait_began_us_;
  std::string text =
      Format("%c %s  %.1f s, %u ticks", spinner, title_, static_cast<double>(elapsed_us) / kSecond, ticks_);
  text += Limit();
  // A line that wrapped could not be drawn over.
  text.resize(std::min(text.size(), Columns() - 1));
  std::printf("\r%s\x1b[K", text.c_str());
  std::fflush(stdout);
}

void ProgressLine::Erase() const {
  if (!is_terminal_ || hidden_) return;
  std::fputs("\r\x1b[K", stdout);
  std::fflush(stdout);
}

}  // namespace storefront

#include "screen.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

namespace worker {

Screen::Screen() : is_terminal_(isatty(STDOUT_FILENO) == 1) {}

Screen::~Screen() { Clear(); }

void Screen::SetError(const char* text) {
  Clear();
  std::fprintf(stderr, "worker: %s\n", text);
}

// The text is the caller's and ends with the call: keep a copy.
void Screen::SetStatus(const char* text, int value) {
  if (value != 0) return;
  status_ = text;
  Draw();
}

void Screen::SetProgress(double fraction) {
  const int percent = static_cast<int>(std::lround(fraction * 100));
  // Where nothing moves, a line for each quarter.
  if (!is_terminal_ && percent / 25 > percent_ / 25) std::printf("  %d %%\n", percent / 25 * 25);
  // Several workers report, and the last to be heard is not always the furthest.
  if (percent > percent_) percent_ = percent;
  Draw();
}

void Screen::Draw() const {
  if (!is_terminal_) return;
  std::printf("\r%3d %%  %s\x1b[K", percent_, status_.c_str());
  std::fflush(stdout);
}

void Screen::Clear() {
  if (!is_terminal_) return;
  std::fputs("\r\x1b[K", stdout);
  std::fflush(stdout);
}

}  // namespace worker

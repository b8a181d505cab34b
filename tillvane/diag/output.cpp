#include <cstdarg>
#include <cstdio>

#include <tillvane/diag/LDebugOutput.h>

void OutputDebugStringF(const char* format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  // A wide character that has no bytes in the locale, and nobody knows what is in the buffer.
  if (length < 0) return;
  std::fputs(text, stderr);
  std::fflush(stderr);
}

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <limits>

#include <tillvane/text/LStringFormat.h>
#include <tillvane/text/format_arguments.h>

// The order and the widths of the fields are part of the binary interface.
static_assert(offsetof(LFixedLengthStringWriterTemplate<char>, buffer) == 0);
static_assert(offsetof(LFixedLengthStringWriterTemplate<char>, length) == sizeof(void*));
static_assert(offsetof(LFixedLengthStringWriterTemplate<char>, capacity) == sizeof(void*) + 4);
static_assert(sizeof(LStringLongTemplateAppender<char>) == sizeof(void*));
static_assert(sizeof(LStringLongTemplateWriter<char>) == sizeof(void*));

unsigned long tplsnprintf(char* buffer, unsigned long size, const char* format, ...) {
  if (size == 0) return 0;
  constexpr unsigned long largest = std::numeric_limits<unsigned int>::max();
  LFixedLengthStringWriterTemplate<char> writer{buffer, 0, static_cast<unsigned int>(std::min(size - 1, largest))};
  va_list list;
  va_start(list, format);
  const text::FormatArguments arguments(list);
  const unsigned long length = tplprintf(writer, format, list);
  buffer[writer.length] = 0;
  return length;
}

unsigned long tsprintfappend(LStringLong& text, const char* format, ...) {
  text.GrowToSize(LStringLong::kFormattedSize);
  LStringLongTemplateAppender<char> appender(text);
  va_list list;
  va_start(list, format);
  const text::FormatArguments arguments(list);
  return tplprintf(appender, format, list);
}

unsigned long sprintf(LStringLong& text, const char* format, ...) {
  text.GrowToSize(LStringLong::kFormattedSize);
  text.SetLength(0);
  LStringLongTemplateWriter<char> writer(text);
  va_list list;
  va_start(list, format);
  const text::FormatArguments arguments(list);
  return tplprintf(writer, format, list);
}

unsigned long sprintf(LFixedLengthStringWriterTemplate<char>& writer, const char* format, ...) {
  va_list list;
  va_start(list, format);
  const text::FormatArguments arguments(list);
  return tplprintf(writer, format, list);
}

int tprintf(const char* format, ...) {
  va_list list;
  va_start(list, format);
  const int length = std::vprintf(format, list);
  va_end(list);
  return length;
}

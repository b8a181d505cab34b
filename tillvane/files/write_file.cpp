#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include <tillvane/files/LWriteFile.h>
#include <tillvane/files/descriptor_io.h>
#include <tillvane/text/LStringFormat.h>
#include <tillvane/text/format_arguments.h>

// The place and the width of the field are part of the binary interface.
struct LWriteFileRefLayout {
  static_assert(offsetof(LWriteFileRef, descriptor_) == 0);
  static_assert(sizeof(LWriteFileRef) == 4);
};

namespace {

// The byte that says that four more bytes have the length.
constexpr unsigned char kLongMark = 0xFF;

void WriteLength(int descriptor, std::uint32_t length) {
  if (length < kLongMark) {
    const auto byte = static_cast<unsigned char>(length);
    files::WriteOnce(descriptor, &byte, sizeof byte);
    return;
  }
  unsigned char bytes[4];
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(length);
    length >>= 8;
  }
  files::WriteOnce(descriptor, &kLongMark, sizeof kLongMark);
  files::WriteOnce(descriptor, bytes, sizeof bytes);
}

long WriteLine(LWriteFileRef file, const char* text, const char* end) {
  file.WriteString(text);
  return files::WriteOnce(file.Descriptor(), end, std::strlen(end));
}

}  // namespace

int LWriteFileRef::WriteString(const char* text) {
  const std::size_t length = std::strlen(text);
  if (descriptor_ == files::kNoDescriptor) return length == 0;
  return files::WriteOnce(descriptor_, text, length) == static_cast<ssize_t>(length);
}

int LWriteFileRef::WriteStringUTF8(const char* text) { return WriteString(text); }

long LWriteFileRef::WriteStringLenUTF8(const char* text) {
  // No more than the length can say.
  constexpr std::size_t most = std::numeric_limits<std::uint32_t>::max();
  const std::size_t length = std::min(std::strlen(text), most);
  WriteLength(descriptor_, static_cast<std::uint32_t>(length));
  return files::WriteOnce(descriptor_, text, length);
}

long LWriteFileRef::WriteLineLF(const char* text) { return WriteLine(*this, text, "\n"); }

long LWriteFileRef::WriteLineCRLF(const char* text) { return WriteLine(*this, text, "\r\n"); }

unsigned long fprintf(LWriteFileRef file, const char* format, ...) {
  LStringLong text;
  text.GrowToSize(LStringLong::kFormattedSize);
  va_list list;
  va_start(list, format);
  const text::FormatArguments arguments(list);
  LStringLongTemplateAppender<char> appender(text);
  const unsigned long length = tplprintf(appender, format, list);
  files::WriteOnce(file.Descriptor(), text.c_str(), length);
  return length;
}

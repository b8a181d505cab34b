#include <cstring>
#include <memory>

#include <tillvane/files/LFile.h>
#include <tillvane/text/LCharsets.h>
#include <tillvane/text/LStringUtilities.h>
#include <tillvane/text/LTextFile.h>
#include <tillvane/text/text_file.h>

namespace {

using text::TextFile;

/// Writes to the place that `go` finds, and marks the file, also one that did not open: its mark is then what fails.
int Save(const char* path, void (TextFile::*go)() const, const char* bytes, unsigned long size) {
  {
    const auto file = TextFile::ToWrite(path);
    if (file.IsOpen()) {
      (file.*go)();
      file.Write(bytes, size);
    }
  }
  return LFile::SetFileAttributeTextEncodingUTF8(path);
}

int Save(const char* path, void (TextFile::*go)() const, const char* text) {
  return Save(path, go, text, text != nullptr ? std::strlen(text) : 0);
}

}  // namespace

int LSaveText(const char* path, const LStringLongTemplate<char>& text) {
  return Save(path, &TextFile::Truncate, text.c_str(), text.size());
}

int LSaveText(const char* path, const char* text) { return Save(path, &TextFile::Truncate, text); }

int LSaveAppendText(const char* path, const LStringLongTemplate<char>& text) {
  return Save(path, &TextFile::SeekEnd, text.c_str(), text.size());
}

int LSaveAppendText(const char* path, const char* text) { return Save(path, &TextFile::SeekEnd, text); }

int LSaveTextAsUnicodeBOM(const char* path, const LStringLongTemplate<char>& text) {
  // Converted before the file is opened, so that nothing is lost without memory.
  constexpr char mark[] = {'\xFF', '\xFE'};
  const unsigned long size = std::strlen(text.c_str()) + 1;
  const auto units = std::make_unique_for_overwrite<unsigned short[]>(1 + size);
  std::memcpy(units.get(), mark, sizeof mark);
  LCopyUnicodeFromUTF8(units.get() + 1, text.c_str(), size);
  auto file = TextFile::ToWrite(path);
  if (!file.IsOpen()) return -1;
  file.Truncate();
  file.Write(units.get(), (1 + lstrlen(units.get() + 1)) * sizeof units[0]);
  return file.Close();
}

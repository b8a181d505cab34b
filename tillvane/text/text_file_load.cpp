#include <cstring>
#include <memory>
#include <utility>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/LTextFile.h>
#include <tillvane/text/text_file.h>

namespace {

enum class Mark { kNone, kLowByteFirst, kHighByteFirst, kUTF8 };

/// The mark that bytes begin with; at least `size` of them are there.
Mark MarkOf(const void* bytes, unsigned long size) {
  const auto begins_with = [=](const char* mark, unsigned long length) {
    return size >= length && std::memcmp(bytes, mark, length) == 0;
  };
  if (begins_with("\xFF\xFE", 2)) return Mark::kLowByteFirst;
  if (begins_with("\xFE\xFF", 2)) return Mark::kHighByteFirst;
  return begins_with("\xEF\xBB\xBF", 3) ? Mark::kUTF8 : Mark::kNone;
}

void SwapBytes(unsigned short* units, unsigned long count) {
  for (unsigned long i = 0; i < count; ++i) units[i] = __builtin_bswap16(units[i]);
}

/// The units of a file, as they are in it, with a 0 unit behind them.
struct Units {
  std::unique_ptr<unsigned short[]> units;
  unsigned long count = 0;
};

/// \return false when the file did not open
bool LoadUnits(const char* path, Units& loaded) {
  const auto file = text::TextFile::ToRead(path);
  if (!file.IsOpen()) return false;
  loaded.count = file.Size() / sizeof(unsigned short);
  loaded.units = std::make_unique_for_overwrite<unsigned short[]>(loaded.count + 1);
  file.Read(loaded.units.get(), loaded.count * sizeof(unsigned short));
  loaded.units[loaded.count] = 0;
  return true;
}

/// Converts a text that is the bytes of UTF-16 behind a mark. An odd byte at the end gets a byte of 0.
void ConvertBehindMark(LStringLong& bytes, Mark mark, LStringLong& text) {
  // Moved over the mark, the units get a terminator without more room: the bytes that become free, and behind them the
  // text's own terminator, for a unit of which there is only half.
  constexpr unsigned long mark_size = 2;
  const unsigned long size = bytes.size() - mark_size;
  std::memmove(bytes.data(), bytes.data() + mark_size, size);
  std::memset(bytes.data() + size, 0, mark_size);
  auto* const units = reinterpret_cast<unsigned short*>(bytes.data());
  if (mark == Mark::kHighByteFirst) SwapBytes(units, (size + 1) / sizeof(unsigned short));
  LCopyFromUnicode(text, units);
}

}  // namespace

int LLoadText(const char* path, LStringLongTemplate<char>& text) {
  const auto file = text::TextFile::ToRead(path);
  if (!file.IsOpen()) return 0;
  const unsigned long size = file.Size();
  if (text.capacity() <= size) {
    // A buffer of its own: growing the text's would copy what is about to be overwritten.
    LStringLong room;
    room.GrowToSize(size + 1);
    text = std::move(room);
  }
  file.Read(text.data(), size);
  text.SetLength(size);
  return 1;
}

int LLoadTextUnicode(const char* path, LStringLongTemplate<char>& text) {
  Units loaded;
  if (!LoadUnits(path, loaded)) return 0;
  unsigned short* units = loaded.units.get();
  const Mark mark = MarkOf(units, loaded.count * sizeof *units);
  if (mark == Mark::kHighByteFirst) SwapBytes(units, loaded.count);
  if (mark == Mark::kHighByteFirst || mark == Mark::kLowByteFirst) ++units;
  LCopyFromUnicode(text, units);
  return 1;
}

int LLoadTextAsUTF16(const char* path, LStringLongTemplate<char>& text) {
  Units loaded;
  if (!LoadUnits(path, loaded)) return 0;
  LCopyFromUnicode(text, loaded.units.get());
  return 1;
}

int LLoadTextAutoChar(const char* path, LStringLongTemplate<char>& text) {
  LStringLong loaded;
  if (LLoadText(path, loaded) == 0) return 0;
  switch (const Mark mark = MarkOf(loaded.c_str(), loaded.size())) {
    case Mark::kLowByteFirst:
    case Mark::kHighByteFirst:
      ConvertBehindMark(loaded, mark, text);
      break;
    case Mark::kUTF8:
      text = loaded.c_str() + 3;
      break;
    case Mark::kNone:
      text = std::move(loaded);
      break;
  }
  return 1;
}

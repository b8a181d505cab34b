#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include <tillvane/files/LReadFile.h>
#include <tillvane/files/LReadFileBuffered.h>
#include <tillvane/files/LWriteFile.h>

#include "families.h"

namespace bench {

namespace {

/// A file in memory: no disk is measured.
class OpenMemoryFile {
 public:
  explicit OpenMemoryFile(const std::string& text) : descriptor_(memfd_create("bench", MFD_CLOEXEC)) {
    is_there_ = write(descriptor_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }
  ~OpenMemoryFile() { close(descriptor_); }
  OpenMemoryFile(const OpenMemoryFile&) = delete;
  OpenMemoryFile& operator=(const OpenMemoryFile&) = delete;

  bool IsThere() const { return is_there_; }
  int Descriptor() const { return descriptor_; }
  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
  void Rewind() const { lseek(descriptor_, 0, SEEK_SET); }

 private:
  int descriptor_;
  bool is_there_;
};

/// Runs `work` over a file of this text, from its beginning, again and again; it answers how much it has met.
Body WithFile(const std::string& text, int expected, std::function<int(const OpenMemoryFile&)> work) {
  return [=](benchmark::State& state) {
    const OpenMemoryFile file(text);
    if (!file.IsThere()) return state.SkipWithError("no file in memory");
    for ([[maybe_unused]] auto _ : state) {
      file.Rewind();
      if (work(file) != expected) return state.SkipWithError("not all of the file was met");
    }
  };
}

// --- Lines ---

/// Lines of half to one and a half times this length; what it is nobody can foresee.
std::string Lines(int count, unsigned int length) {
  std::string text;
  unsigned int number = 1;
  for (int i = 0; i < count; ++i) {
    number = number * 1103515245 + 12345;
    text.append(length / 2 + (number >> 16) % (length + 1), 'x');
    text += '\n';
  }
  return text;
}

constexpr std::size_t kLineRoom = 8192;

template <class Reader>
int CountLines(const OpenMemoryFile& file) {
  Reader reader(file.Descriptor());
  char line[kLineRoom];
  int count = 0;
  while (reader.ReadLine(line, sizeof line) != 0) ++count;
  return count;
}

int CountGrowingLines(const OpenMemoryFile& file) {
  LReadFileRef reader(file.Descriptor());
  LStringLong line;
  int count = 0;
  while (reader.ReadLine(line) != 0) ++count;
  return count;
}

/// The same lines by a call for each byte, and one to put back the byte behind the end.
int CountLinesByteByByte(const OpenMemoryFile& file) {
  const auto next = [&](char* byte) { return read(file.Descriptor(), byte, 1) == 1; };
  int count = 0;
  char line[kLineRoom];
  std::size_t length = 0;
  for (char byte; next(&byte);) {
    if (byte != '\n') {
      if (length < sizeof line) line[length++] = byte;
      continue;
    }
    benchmark::DoNotOptimize(line);
    length = 0;
    ++count;
    if (next(&byte)) lseek(file.Descriptor(), -1, SEEK_CUR);
  }
  return count;
}

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Stream OpenStream(const OpenMemoryFile& file, const char* mode) {
  return {std::fopen(file.Path().c_str(), mode), &std::fclose};
}

int CountLinesByGetline(const OpenMemoryFile& file) {
  const Stream stream = OpenStream(file, "re");
  char* line = nullptr;
  std::size_t room = 0;
  int count = 0;
  while (getline(&line, &room, stream.get()) >= 0) ++count;
  std::free(line);
  return count;
}

int CountLinesByFgets(const OpenMemoryFile& file) {
  const Stream stream = OpenStream(file, "re");
  char line[kLineRoom];
  int count = 0;
  while (std::fgets(line, sizeof line, stream.get()) != nullptr) ++count;
  return count;
}

int CountLinesByStdGetline(const OpenMemoryFile& file) {
  std::ifstream stream(file.Path(), std::ios::binary);
  std::string line;
  int count = 0;
  while (std::getline(stream, line)) ++count;
  return count;
}

void MeasureBufferedLines(unsigned int length, double goal, const Options& options, Results* results) {
  constexpr int count = 10000;
  const std::string text = Lines(count, length);
  const auto body = [&](int (*work)(const OpenMemoryFile&)) { return WithFile(text, count, work); };
  Measure({"buffered lines of about " + std::to_string(length) + " bytes",
           {Clock::kThread},
           "LReadFileBuffered::ReadLine",
           body(CountLines<LReadFileBuffered>),
           {{"getline", body(CountLinesByGetline), goal},
            {"fgets", body(CountLinesByFgets)},
            {"std::getline", body(CountLinesByStdGetline)}},
           count},
          options, results);
}

void MeasureUnbufferedLines(const Options& options, Results* results) {
  constexpr int count = 500;
  const std::string text = Lines(count, 80);
  const auto body = [&](int (*work)(const OpenMemoryFile&)) { return WithFile(text, count, work); };
  constexpr double goal = 1.0 / 20;
  Measure(
      {"unbuffered lines of about 80 bytes, the offset right behind each",
       {Clock::kThread},
       "LReadFileRef::ReadLine",
       body(CountLines<LReadFileRef>),
       {{"a read for each byte", body(CountLinesByteByByte), goal}, {"into a growing text", body(CountGrowingLines)}},
       count},
      options, results);
}

// --- Texts behind their length ---

constexpr int kTexts = 1000;

std::string Records(std::size_t length) {
  std::string text;
  for (int i = 0; i < kTexts; ++i) text += static_cast<char>(length) + std::string(length, 'x');
  return text;
}

int ReadTexts(const OpenMemoryFile& file) {
  LReadFileRef reader(file.Descriptor());
  char text[260];
  int count = 0;
  for (; count < kTexts; ++count) {
    reader.ReadStringLenUTF8(text);
    if (text[0] != 'x') break;
  }
  return count;
}

int ReadTextsByStream(const OpenMemoryFile& file) {
  const Stream stream = OpenStream(file, "re");
  char text[260];
  int count = 0;
  for (int length; (length = std::fgetc(stream.get())) != EOF; ++count) {
    text[std::fread(text, 1, static_cast<std::size_t>(length), stream.get())] = '\0';
    benchmark::DoNotOptimize(text);
  }
  return count;
}

/// The two calls of each text and nothing else.
int ReadTextsBare(const OpenMemoryFile& file) {
  char text[260];
  int count = 0;
  for (unsigned char length; read(file.Descriptor(), &length, 1) == 1; ++count) {
    if (read(file.Descriptor(), text, length) != length) break;
    text[length] = '\0';
    benchmark::DoNotOptimize(text);
  }
  return count;
}

int WriteTexts(const OpenMemoryFile& file, const std::string& text) {
  LWriteFileRef writer(file.Descriptor());
  int count = 0;
  while (count < kTexts && writer.WriteStringLenUTF8(text.c_str()) > 0) ++count;
  return count;
}

int WriteTextsByStream(const OpenMemoryFile& file, const std::string& text) {
  const Stream stream = OpenStream(file, "r+e");
  int count = 0;
  while (count < kTexts && std::fputc(static_cast<int>(text.size()), stream.get()) != EOF &&
         std::fwrite(text.data(), 1, text.size(), stream.get()) == text.size()) {
    ++count;
  }
  return count;
}

int WriteTextsBare(const OpenMemoryFile& file, const std::string& text) {
  const auto length = static_cast<unsigned char>(text.size());
  int count = 0;
  while (count < kTexts && write(file.Descriptor(), &length, 1) == 1 &&
         write(file.Descriptor(), text.data(), length) == length) {
    ++count;
  }
  return count;
}

void MeasureTexts(const Options& options, Results* results) {
  const std::string records = Records(40);
  const auto reads = [&](int (*work)(const OpenMemoryFile&)) { return WithFile(records, kTexts, work); };
  Measure({"texts of 40 bytes behind their length, read",
           {Clock::kThread},
           "ReadStringLenUTF8",
           reads(ReadTexts),
           {Limit("two bare reads", reads(ReadTextsBare)), {"fgetc, fread: buffered", reads(ReadTextsByStream)}},
           kTexts},
          options, results);
  const auto writes = [&](int (*work)(const OpenMemoryFile&, const std::string&)) {
    return WithFile(records, kTexts, [=](const OpenMemoryFile& file) { return work(file, std::string(40, 'x')); });
  };
  Measure({"texts of 40 bytes behind their length, written",
           {Clock::kThread},
           "WriteStringLenUTF8",
           writes(WriteTexts),
           {Limit("two bare writes", writes(WriteTextsBare)), {"fputc, fwrite: buffered", writes(WriteTextsByStream)}},
           kTexts},
          options, results);
}

}  // namespace

void RunFilesFamily(const Options& options, Results* results) {
  PrintHead("files");
  MeasureBufferedLines(20, 0.75, options, results);
  MeasureBufferedLines(60, 0.75, options, results);
  MeasureBufferedLines(1000, 0, options, results);
  MeasureUnbufferedLines(options, results);
  MeasureTexts(options, results);
}

}  // namespace bench

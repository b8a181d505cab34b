#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include <tillvane/text/LTextFile.h>

#include "families.h"

namespace bench {

namespace {

/// A file in memory, which everybody opens by its path: no disk is measured.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& text) : descriptor_(memfd_create("bench", MFD_CLOEXEC)) {
    is_there_ = write(descriptor_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  bool IsThere() const { return is_there_; }
  const char* Path() const { return path_.c_str(); }

 private:
  int descriptor_;
  bool is_there_;
  std::string path_;
};

constexpr const char* kNotWhole = "the file was not read or written whole";

/// Does something with the path of a file of this text again and again; `work` says whether it succeeded.
template <class Work>
Body WithFile(const std::string& text, Work work) {
  return [=](benchmark::State& state) {
    const MemoryFile file(text);
    if (!file.IsThere()) return state.SkipWithError("no file in memory");
    for ([[maybe_unused]] auto _ : state) {
      if (!work(file.Path())) return state.SkipWithError(kNotWhole);
    }
  };
}

// --- Loading: each into memory that it allocates ---

Body OurLoad(const std::string& text) {
  return WithFile(text, [size = text.size()](const char* path) {
    LStringLong loaded;
    LLoadText(path, loaded);
    benchmark::DoNotOptimize(loaded.data());
    return loaded.size() == size;
  });
}

Body BareLoad(const std::string& text) {
  return WithFile(text, [size = text.size()](const char* path) {
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    char* const buffer = static_cast<char*>(std::malloc(size + 1));
    const ssize_t got = read(descriptor, buffer, size);
    benchmark::DoNotOptimize(buffer);
    std::free(buffer);
    close(descriptor);
    return got == static_cast<ssize_t>(size);
  });
}

Body StreamLoad(const std::string& text) {
  return WithFile(text, [size = text.size()](const char* path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::string loaded(static_cast<std::size_t>(file.tellg()), '\0');
    file.seekg(0);
    file.read(loaded.data(), static_cast<std::streamsize>(loaded.size()));
    benchmark::DoNotOptimize(loaded.data());
    return file.good() && loaded.size() == size;
  });
}

// --- Saving: each over what is there ---

Body OurSave(const std::string& text) {
  const auto saved = std::make_shared<LStringLong>();
  *saved = text.c_str();
  return WithFile(text, [saved](const char* path) {
    LSaveText(path, *saved);
    return true;
  });
}

Body BareSave(const std::string& text) {
  return WithFile(text, [text](const char* path) {
    const int descriptor = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const ssize_t written = write(descriptor, text.data(), text.size());
    close(descriptor);
    return written == static_cast<ssize_t>(text.size());
  });
}

Body StreamSave(const std::string& text) {
  return WithFile(text, [text](const char* path) {
    std::ofstream file(path, std::ios::binary);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    return file.good();
  });
}

}  // namespace

void RunTextFilesFamily(const Options& options, Results* results) {
  PrintHead("textfiles");
  struct Size {
    const char* name;
    std::size_t bytes;
    double load_goal;
  };
  constexpr Size sizes[] = {{"1 KiB", 1 << 10, 0}, {"1 MiB", 1 << 20, 0}, {"100 MiB", 100 << 20, 1.05}};
  for (const Size& size : sizes) {
    const std::string text(size.bytes, 'x');
    Measure({std::string("load ") + size.name,
             {Clock::kThread},
             "LLoadText",
             OurLoad(text),
             {Limit("open, read, close", BareLoad(text), size.load_goal), {"std::ifstream", StreamLoad(text)}}},
            options, results);
    Measure({std::string("save ") + size.name,
             {Clock::kThread},
             "LSaveText",
             OurSave(text),
             {Limit("open, write, close", BareSave(text)), {"std::ofstream", StreamSave(text)}}},
            options, results);
  }
}

}  // namespace bench

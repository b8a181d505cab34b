#include <algorithm>
#include <cstddef>

#include <tillvane/files/LProcessFile.h>
#include <tillvane/files/descriptor_io.h>

namespace {

enum Code : int { kDone = 0, kStopped = 1, kFailed = 2 };

// Small enough to ask often whether to stop.
constexpr unsigned int kChunk = 10240;

/// Moves a block by chunks. \param move moves so many bytes at an offset and answers as `read` and `write` do
template <class Move>
int Transfer(LProcessInterface& process, unsigned int size, Move move) {
  for (unsigned int done = 0; done < size;) {
    if (process.IsToStop()) return kStopped;
    const unsigned int chunk = std::min(size - done, kChunk);
    if (files::Moved(move(done, chunk)) < chunk) return kFailed;
    done += chunk;
    process.SetProgress(static_cast<double>(done) / size);
  }
  return kDone;
}

}  // namespace

int LProcessFileRead(LProcessInterface& process, LReadFileRef& file, const void* buffer, unsigned int size) {
  char* const to = static_cast<char*>(const_cast<void*>(buffer));
  return Transfer(process, size, [&](unsigned int offset, unsigned int chunk) {
    return files::ReadOnce(file.Descriptor(), to + offset, chunk);
  });
}

int LProcessFileWrite(LProcessInterface& process, LWriteFileRef& file, const void* buffer, unsigned int size) {
  const char* const from = static_cast<const char*>(buffer);
  return Transfer(process, size, [&](unsigned int offset, unsigned int chunk) {
    return files::WriteOnce(file.Descriptor(), from + offset, chunk);
  });
}

// Reads, peeks, lines and seeks in any order, of a file and of a pipe, beside the model.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/files/LReadFileBuffered.h>

#include <tests/support/file_model.h>

#include "require.h"
#include "text_files.h"
#include "texts.h"

namespace {

using support::ModelFile;
using support::ModelReader;

/// Two bytes of the input: sizes around those of the buffer are as likely as small ones.
std::size_t Size(fuzz::Input* input) {
  constexpr std::size_t bases[] = {0, 0, 200, 8000};
  const unsigned int kind = input->Number();
  return bases[kind % 4] + (kind % 4 == 1 ? 16 : 1) * input->Number();
}

std::string Deliver(LReadFileBuffered* reader, unsigned long (LReadFileBuffered::*get)(void*, unsigned long),
                    std::size_t size) {
  fuzz::Buffer buffer(size);
  const std::size_t delivered = (reader->*get)(buffer.Get(), size);
  fuzz::Require(delivered <= size, "no more is delivered than was wanted");
  return buffer.Bytes().substr(0, delivered);
}

void CheckLine(LReadFileBuffered* reader, ModelReader* model, std::size_t room) {
  const support::ModelLine expected = model->ReadLine(room);
  fuzz::Buffer line(room + 1);
  fuzz::Require(reader->ReadLine(line.Get(), room + 1) == expected.result, "a line is a line for the model too");
  fuzz::Require(line.Bytes().compare(0, expected.text.size() + 1, expected.text + '\0') == 0,
                "its text is the model's");
}

void DoOne(fuzz::Input* input, LReadFileBuffered* reader, ModelReader* model) {
  const unsigned int what = input->Number() % 5;
  const std::size_t size = Size(input);
  const auto offset = static_cast<long long>(size);
  switch (what) {
    case 0:
      fuzz::Require(Deliver(reader, &LReadFileBuffered::Read, size) == model->Read(size), "a read is the model's");
      break;
    case 1:
      fuzz::Require(Deliver(reader, &LReadFileBuffered::Peek, size) == model->Peek(size), "a peek is the model's");
      break;
    case 2:
      CheckLine(reader, model, size);
      break;
    case 3:
      fuzz::Require(reader->Seek64(size) == model->Seek(offset), "a seek is the model's");
      break;
    default:
      fuzz::Require(reader->SeekOffset64(offset - 4096) == model->SeekOffset(offset - 4096), "so is one by an offset");
  }
  fuzz::Require(reader->Tell64() == model->Tell(), "the position is the model's");
}

void Check(fuzz::Input input, int descriptor, ModelReader model) {
  LReadFileBuffered reader(descriptor);
  while (input.HasMore()) DoOne(&input, &reader, &model);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, std::min<std::size_t>(size, 400));
  const std::size_t length = input.Number() * 128;
  std::string bytes = input.Bytes(input.Number());
  while (!bytes.empty() && bytes.size() < length) bytes += bytes;
  bytes.resize(std::min(bytes.size(), length));

  const fuzz::MemoryFile file(bytes);
  fuzz::Require(lseek(file.Descriptor(), 0, SEEK_SET) == 0, "the file can seek");
  Check(input, file.Descriptor(), ModelReader(ModelFile(bytes)));

  int ends[2];
  fuzz::Require(pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0, "there are pipes");
  fuzz::Require(write(ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "they have room");
  close(ends[1]);
  Check(input, ends[0], ModelReader(ModelFile(bytes, false)));
  close(ends[0]);
  return 0;
}

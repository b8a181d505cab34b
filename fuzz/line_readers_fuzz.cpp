// Lines of a file: the reader without a buffer, the buffered one and the models of both.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/files/LReadFile.h>
#include <tillvane/files/LReadFileBuffered.h>

#include <tests/support/file_model.h>

#include "require.h"
#include "text_files.h"
#include "texts.h"

namespace {

using support::ModelFile;
using support::ModelLine;

/// The first bytes of a buffer are the line; a reader's result and text are the model's.
void Compare(int result, const fuzz::Buffer& line, const ModelLine& expected) {
  fuzz::Require(result == expected.result, "a line is a line for the model too");
  fuzz::Require(line.Bytes().compare(0, expected.text.size() + 1, expected.text + '\0') == 0,
                "its text is the model's");
}

void CheckUnbuffered(int descriptor, const std::string& bytes, std::size_t size) {
  ModelFile model(bytes);
  LReadFileRef reader(descriptor);
  for (bool has_more = true; has_more;) {
    const ModelLine expected = support::ReadModelLine(model, size - 1);
    fuzz::Buffer line(size);
    const int result = reader.ReadLine(line.Get(), size);
    Compare(result, line, expected);
    fuzz::Require(lseek(descriptor, 0, SEEK_CUR) == static_cast<off_t>(model.Offset()),
                  "the offset is behind the line");
    has_more = result != 0;
  }
}

void CheckGrowing(int descriptor, const std::string& bytes) {
  ModelFile model(bytes);
  LReadFileRef reader(descriptor);
  LStringLong line;
  for (bool has_more = true; has_more;) {
    const ModelLine expected = support::ReadModelLine(model);
    const int result = reader.ReadLine(line);
    fuzz::Require((ModelLine{result, fuzz::BytesOf(line)}) == expected, "a growing line is the model's");
    has_more = result != 0;
  }
}

void CheckBuffered(int descriptor, const std::string& bytes, std::size_t size) {
  support::ModelReader model{ModelFile(bytes)};
  LReadFileBuffered reader(descriptor);
  for (bool has_more = true; has_more;) {
    const ModelLine expected = model.ReadLine(size - 1);
    fuzz::Buffer line(size);
    const int result = reader.ReadLine(line.Get(), size);
    Compare(result, line, expected);
    fuzz::Require(reader.Tell64() == model.Tell(), "the next line begins where the model's does");
    has_more = result != 0;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::size_t room = 1 + input.Number() * 2;
  // As much in front of the text, so that its lines lie across the ends of what is read at once.
  const std::size_t in_front = input.Number() * 64;
  const std::string bytes = std::string(in_front, 'x') + input.Rest();
  const fuzz::MemoryFile file(bytes);
  for (int check = 0; check < 3; ++check) {
    fuzz::Require(lseek(file.Descriptor(), 0, SEEK_SET) == 0, "the file can seek");
    if (check == 0) CheckUnbuffered(file.Descriptor(), bytes, room);
    if (check == 1) CheckGrowing(file.Descriptor(), bytes);
    if (check == 2) CheckBuffered(file.Descriptor(), bytes, room);
  }
  return 0;
}

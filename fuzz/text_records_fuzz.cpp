// Texts behind their length, from any bytes; and what is written is read back.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/files/LReadFile.h>
#include <tillvane/files/LWriteFile.h>

#include <tests/support/file_model.h>

#include "require.h"
#include "text_files.h"
#include "texts.h"

namespace {

constexpr std::size_t kRoom = 260;

void CheckReader(const std::string& bytes) {
  const fuzz::MemoryFile file(bytes);
  fuzz::Require(lseek(file.Descriptor(), 0, SEEK_SET) == 0, "the file can seek");
  support::ModelFile model(bytes);
  // One more than there can be: the last one is read at the end.
  for (std::size_t i = 0; i <= bytes.size() && model.Offset() <= bytes.size(); ++i) {
    const std::string expected = support::ReadModelText(model);
    fuzz::Buffer text(kRoom);
    LReadFileRef(file.Descriptor()).ReadStringLenUTF8(text.Get());
    fuzz::Require(text.Bytes().compare(0, expected.size() + 1, expected + '\0') == 0, "the text is the model's");
    fuzz::Require(lseek(file.Descriptor(), 0, SEEK_CUR) == static_cast<off_t>(model.Offset()),
                  "the next text is the model's");
  }
}

void CheckRoundTrip(const std::string& text) {
  const fuzz::MemoryFile file;
  LWriteFileRef writer(file.Descriptor());
  fuzz::Require(writer.WriteStringLenUTF8(text.c_str()) == static_cast<long>(text.size()), "all is written");
  fuzz::Require(writer.WriteStringLenUTF8("next") == 4, "another one too");
  fuzz::Require(lseek(file.Descriptor(), 0, SEEK_SET) == 0, "the file can seek");
  LReadFileRef reader(file.Descriptor());
  fuzz::Buffer read(kRoom);
  reader.ReadStringLenUTF8(read.Get());
  fuzz::Require(read.Get() == text.substr(0, kRoom - 1), "what was written is read");
  reader.ReadStringLenUTF8(read.Get());
  fuzz::Require(read.Get() == std::string("next"), "and the next one");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  CheckReader(input.Rest());
  CheckRoundTrip(input.Text());
  return 0;
}

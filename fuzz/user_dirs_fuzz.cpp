// The user's folders as desktops write them down. Input: the name that is asked for, then the text.

#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/platform/linux/user_dirs_linux.h>

#include "require.h"
#include "texts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using fuzz::Require;
  fuzz::Input input(data, size);
  const std::string name = input.Text(), text = input.Rest();
  const fuzz::Buffer bytes = fuzz::Buffer::Unterminated(text);
  for (const char* home : {"/", "/home/ada"}) {
    const std::string folder = platform::UserDirectoryOf({bytes.Get(), text.size()}, name, home);
    Require(folder.empty() || folder.starts_with('/'), "a folder is absolute");
    Require(folder.size() < 2 || (!folder.ends_with('/') && !folder.starts_with("//")), "no slash is idle at an end");
    Require(folder.find('\0') == std::string::npos, "a folder is a path");
    Require(folder.size() <= text.size() + 9, "a folder is out of the text");
    const std::string twice = platform::UserDirectoryOf(text + '\n' + text, name, home);
    Require(twice == folder, "the last line counts");
  }
  return 0;
}

#include <tests/support/temp_folder.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

namespace support {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void GiveUp(const std::string& what) {
  std::perror(what.c_str());
  std::abort();
}

/// Lets the owner empty every folder again: a test may have taken the right away.
void AllowRemoval(const fs::path& folder) {
  std::error_code ignored;
  fs::permissions(folder, fs::perms::owner_all, ignored);
  std::vector<fs::path> inner;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) inner.push_back(entry.path());
  }
  for (const auto& path : inner) AllowRemoval(path);
}

}  // namespace

TempFolder::TempFolder() {
  const char* parent = std::getenv("TMPDIR");
  path_ = std::string(parent != nullptr && *parent == '/' ? parent : "/tmp") + "/tillvane-test-XXXXXX";
  if (mkdtemp(path_.data()) == nullptr) GiveUp(path_);
}

TempFolder::~TempFolder() {
  std::error_code error;
  fs::remove_all(path_, error);
  if (!error) return;
  AllowRemoval(path_);
  fs::remove_all(path_, error);
}

std::string TempFolder::Write(const std::string& name, const std::string& text) const {
  std::string path = File(name);
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) GiveUp(path);
  if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) GiveUp(path);
  close(file);
  return path;
}

}  // namespace support

#include "private_world.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace soak {

namespace {

constexpr const char* kFolderVariable = "TILLVANE_SOAK_FOLDER";

constexpr const char* kCatalogue = R"({
  "products": [
    {"productID": "org.example.soak.paid", "displayPrice": "4.99", "type": "NonConsumable"},
    {"productID": "org.example.coins.paid", "displayPrice": "0.99", "type": "Consumable"}
  ],
  "settings": {"_locale": "en_US", "_storefront": "USA"}
})";

[[noreturn]] void GiveUp(const std::string& what) {
  std::perror(("soak: " + what).c_str());
  std::exit(1);
}

std::string Variable(const char* name, const char* otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : otherwise;
}

std::string MakeFolders() {
  std::string path = Variable("TMPDIR", "/tmp") + "/tillvane-soak-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) GiveUp(path);
  for (const char* const name : {"home", "temporary", "work", "outside", "run"}) {
    const std::string folder = path + '/' + name;
    if (mkdir(folder.c_str(), 0700) != 0) GiveUp(folder);
  }
  std::ofstream(path + "/Products.storekit") << kCatalogue;
  return path;
}

/// What the folder's name begins with when this very process has made it, which stays the same when it starts itself
/// anew. What anybody else names is not touched.
std::string OwnMark() { return std::to_string(getpid()) + ':'; }

std::string TakeFolder() {
  const std::string named = Variable(kFolderVariable, "");
  unsetenv(kFolderVariable);
  return named.starts_with(OwnMark()) ? named.substr(OwnMark().size()) : "";
}

std::vector<std::string> Environment(const std::string& path) {
  return {std::string(kFolderVariable) + "=" + OwnMark() + path, "PATH=" + Variable("PATH", "/usr/bin:/bin"),
          "LD_LIBRARY_PATH=" + Variable("LD_LIBRARY_PATH", ""), "LC_ALL=C.UTF-8", "HOME=" + path + "/home",
          "TMPDIR=" + path + "/temporary", "XDG_RUNTIME_DIR=" + path + "/run", "LOGNAME=soak",
          "TILLVANE_STORE_CATALOG=" + path + "/Products.storekit",
          // No thread and no library keeps freed memory for itself.
          "GLIBC_TUNABLES=glibc.malloc.tcache_count=0", "G_SLICE=always-malloc"};
}

void StartAnew(char** arguments, const std::string& path) {
  std::vector<std::string> texts = Environment(path);
  std::vector<char*> environment;
  for (std::string& text : texts) environment.push_back(text.data());
  environment.push_back(nullptr);
  // By its own path, from which the process gets its name.
  std::error_code error;
  const std::string program = std::filesystem::read_symlink("/proc/self/exe", error).string();
  execve(program.c_str(), arguments, environment.data());
  GiveUp(program);
}

}  // namespace

PrivateWorld::PrivateWorld(char** arguments) : path_(TakeFolder()) {
  if (path_.empty()) StartAnew(arguments, MakeFolders());
}

PrivateWorld::~PrivateWorld() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void PrivateWorld::EndProcess() const {
  execl("/bin/sh", "sh", "-c", "rm -rf -- \"$1\" || { sleep 1; rm -rf -- \"$1\"; }; exit 1", "sh", path_.c_str(),
        nullptr);
  _exit(1);
}

}  // namespace soak

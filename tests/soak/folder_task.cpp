#include <unistd.h>

#include <array>
#include <cstdlib>

#include "files.h"
#include "tasks.h"

namespace soak {

namespace {

using PathBuffer = std::array<char, 260>;

class FolderTask final : public Task {
 public:
  explicit FolderTask(const std::string& folder) : folder_(folder) {}

  void Round(LProcessInterface&) override {
    MakeWalkAndDelete();
    ReadLines();
    TakePathsApart();
    AskForVolume();
    AskForFolders();
    ListProcesses();
  }

 private:
  void MakeWalkAndDelete() const {
    for (int i = 0; i < 8; ++i) {
      const std::string inner = folder_ + "/tree/" + std::to_string(i) + "/inner";
      Require(LFile::CreateFolderTree(inner.c_str()) == 1, "a folder tree is made");
      for (const char* const name : {"one.txt", "two.TXT", "three.bin", ".hidden"}) WriteFile(inner + '/' + name, name);
      Require(Count<LFile::FolderIterator>(inner, "*.txt") == 2, "a walk shows what matches");
      Require(Count<LFile::FolderIteratorAllFiles>(inner, "*") == 6, "a walk shows everything");
    }
    const std::string tree = folder_ + "/tree";
    Require(LFile::TestFolderExists(tree.c_str()), "a folder that was made is there");
    Require(LFile::DeleteFolderTree(tree.c_str()) == 1, "a folder tree is deleted");
    Require(!LFile::TestFolderExists(tree.c_str()), "a folder that was deleted is gone");
  }

  template <class Iterator>
  static int Count(const std::string& folder, const char* pattern) {
    Iterator entries;
    int count = 0;
    for (int found = entries.Open(folder.c_str(), pattern); found != 0; found = entries.Next()) ++count;
    return count;
  }

  void ReadLines() const {
    Require(LFile::CreateFolderTree(folder_.c_str()) == 1 || IsThere(folder_), "the task's folder is there");
    const std::string path = folder_ + "/lines";
    WriteFile(path, "one\ntwo\r\nthree");
    std::FILE* const file = std::fopen(path.c_str(), "re");
    Require(file != nullptr, "a file of lines is opened");
    LReadFileBuffered reader(fileno(file));
    std::string all;
    std::array<char, 32> line;
    while (reader.ReadLine(line.data(), line.size()) == 1) all += std::string(line.data()) + '|';
    std::fclose(file);
    unlink(path.c_str());
    Require(all == "one|two|three|", "lines are read");
  }

  static void TakePathsApart() {
    PathBuffer out;
    LFile::_GetFolderFromPath(out.data(), "/a/b/c.txt");
    Require(std::string(out.data()) == "/a/b", "a path has a folder");
    LFile::_GetFileExtensionFromPath(out.data(), "/a/b/c.txt");
    Require(std::string(out.data()) == ".txt", "a path has an extension");
    LFile::MakeRelativeFilePath(out.data(), "/a/b", "/a/c/d");
    Require(std::string(out.data()) == "../c/d", "a path is made relative");
    Require(LFile::IsMatch("*.t?t", "name.txt"), "a name matches");
  }

  void AskForVolume() const {
    LFile::GetVolumeAttributes(folder_.c_str());
    Require(LFile::GetVolumeFileSystemID(folder_.c_str()) != 0xFFFF, "a volume has a file system");
    PathBuffer mounted;
    LFile::GetHumanReadableDriveFromPath(mounted.data(), folder_.c_str());
    Require(mounted[0] == '/', "a volume is mounted somewhere");
  }

  static void AskForFolders() {
    PathBuffer home, data, temporary;
    LFile::GetUserFolder(home.data());
    Require(std::string(home.data()) == std::getenv("HOME"), "the home is the user's");
    LFile::GetUserDataFolderApp(data.data(), "Soak");
    Require(LFile::TestFolderExists(data.data()), "the application's data folder is made");
    LFile::GetTempFolder(temporary.data());
    Require(std::string(temporary.data()).starts_with(std::getenv("TMPDIR")), "temporary files have the user's folder");
  }

  static void ListProcesses() {
    kinfo_proc* list = nullptr;
    const unsigned int count = LGetBSDProcessList(&list);
    bool is_listed = false;
    for (unsigned int i = 0; list != nullptr && i < count; ++i)
      is_listed = is_listed || list[i].kp_proc.p_pid == getpid();
    std::free(list);
    Require(is_listed, "this process is listed");
    Require(!LIsApplicationRunning("no-such-program"), "what does not run is not found");
    Require(LGetBSDProcessUid("soak") > 0, "this program is found by its name");
  }

  const std::string folder_;
};

}  // namespace

std::unique_ptr<Task> MakeFolderTask(const std::string& folder) { return std::make_unique<FolderTask>(folder); }

}  // namespace soak

#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "files.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr std::size_t kBytes = 512 * 1024 + 4711;

/// Stops a copy when it has come so far.
class Progress final : public LProcessInterfaceVoid {
 public:
  explicit Progress(double stops_at) : stops_at_(stops_at) {}

  bool IsToStop() override { return progress_ >= stops_at_; }
  void SetProgress(double fraction) override {
    goes_forward_ = goes_forward_ && fraction >= progress_;
    progress_ = fraction;
  }

  bool GoesForward() const { return goes_forward_ && progress_ > 0; }

 private:
  const double stops_at_;
  double progress_ = 0;
  bool goes_forward_ = true;
};

class CopyTask final : public Task {
 public:
  explicit CopyTask(const std::string& folder)
      : folder_(folder),
        source_(folder + "/source"),
        copy_(folder + "/copy"),
        tree_(folder + "/tree"),
        tree_copy_(folder + "/tree-copy"),
        bytes_(Pattern(kBytes)) {
    std::filesystem::create_directories(folder_);
    WriteFile(source_, bytes_);
    MakeTree();
  }

  void Round(LProcessInterface&) override {
    CopyWhole();
    CopyAndStop();
    CopyPlain();
    CopyTree();
    WriteAndReadBlock();
    LockFile();
  }

 private:
  void MakeTree() {
    for (std::size_t i = 0; i < 6; ++i) {
      const std::string inner = tree_ + "/folder" + std::to_string(i) + "/inner";
      Require(LFile::CreateFolderTree(inner.c_str()) == 1, "a folder tree is made");
      for (std::size_t k = 0; k < 5; ++k) {
        const std::string file = inner + "/file" + std::to_string(k);
        WriteFile(file, bytes_.substr(i * 100 + k, k * 4000));
        files_.push_back(file.substr(tree_.size()));
      }
    }
  }

  void CopyWhole() const {
    Progress progress(2);
    Require(Process(progress, LProcessCopyFile{source_.c_str(), copy_.c_str()}) == 0, "a copy with progress is done");
    Require(progress.GoesForward(), "progress goes forward");
    Require(ReadFile(copy_) == bytes_, "the copy has the source's bytes");
    Require(unlink(copy_.c_str()) == 0, "the copy can be deleted");
  }

  void CopyAndStop() {
    ++rounds_;
    Progress progress(0.1 + 0.08 * (rounds_ % 10));
    Require(Process(progress, LProcessCopyFile{source_.c_str(), copy_.c_str()}) == 1, "a copy that is stopped says so");
    Require(!IsThere(copy_), "nothing remains of a copy that was stopped");
  }

  void CopyPlain() const {
    Require(LFile::CopyFile(source_.c_str(), copy_.c_str()) == 1, "a file is copied");
    Require(ReadFile(copy_) == bytes_, "the plain copy has the source's bytes");
    Require(LFile::CopyFile((folder_ + "/missing").c_str(), copy_.c_str()) == 0, "what is missing is not copied");
    unlink(copy_.c_str());
  }

  void CopyTree() const {
    LFile::CopyFolderFiles(tree_.c_str(), tree_copy_.c_str());
    for (const std::string& file : files_) {
      Require(IsThere(tree_copy_ + file), "the copied tree has every file");
      Require(ReadFile(tree_copy_ + file) == ReadFile(tree_ + file), "the copied tree has the files' bytes");
    }
    Require(LFile::DeleteFolderTree(tree_copy_.c_str()) == 1 && !IsThere(tree_copy_), "the copied tree is deleted");
  }

  void WriteAndReadBlock() const {
    const int file = open(copy_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    Require(file >= 0, "a file is opened");
    const auto size = static_cast<unsigned int>(bytes_.size());
    Progress progress(2);
    LWriteFileRef to(file);
    LReadFileRef from(file);
    std::string read(bytes_.size(), '\0');
    const int written = LProcessFileWrite(progress, to, bytes_.data(), size);
    lseek(file, 0, SEEK_SET);
    Progress other(2);
    const int done = LProcessFileRead(other, from, read.data(), size);
    close(file);
    unlink(copy_.c_str());
    Require(written == 0 && done == 0, "a block is written and read");
    Require(read == bytes_, "a block is read as it was written");
  }

  void LockFile() const {
    LLockFile first, second;
    Require(first.Lock(source_.c_str()) == 1, "a file is locked");
    Require(second.Lock(source_.c_str()) == 0, "a locked file is not locked twice");
    unlink(first.path);
  }

  const std::string folder_, source_, copy_, tree_, tree_copy_, bytes_;
  std::vector<std::string> files_;
  unsigned int rounds_ = 0;
};

}  // namespace

std::unique_ptr<Task> MakeCopyTask(const std::string& folder) { return std::make_unique<CopyTask>(folder); }

}  // namespace soak

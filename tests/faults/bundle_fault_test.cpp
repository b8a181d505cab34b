// System calls that fail under what is told of the bundle, and under an FSSpec. The definitions here take
// the place of the C library's for everything that is linked into this program.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/faults.h>
#include <tests/support/guarded_text.h>
#include <tests/support/next_definition.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/platform/file_spec.h>
#include <tillvane/platform/native_url.h>
#include <tillvane/system/LApplicationBundle.h>
#include <tillvane/system/LCFBundle.h>
#include <tillvane/system/LCFURL.h>
#include <tillvane/system/LToFSSpec.h>

namespace {

/// The file that is opened as the bundle's Info.plist, and what is open of it; empty and -1 for none.
std::string list_path;
int list_descriptor = -1;

// What a call does instead, while it is set.
support::Replacement<int()> on_open{"open"};
support::Replacement<int()> on_fstat{"fstat"};
support::Replacement<ssize_t(void* buffer, size_t size)> on_read{"read"};
support::Replacement<char*()> on_realpath{"realpath"};
support::Replacement<int()> on_stat{"stat"};
support::Replacement<ssize_t()> on_readlink{"readlink"};

using support::Next;

bool IsList(const char* path) { return !list_path.empty() && std::string(path).ends_with("/Info.plist"); }

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const auto next = Next(&open, "open");
  if (!IsList(path)) return next(path, flags, mode);
  if (on_open) return on_open();
  EXPECT_NE(flags & O_CLOEXEC, 0);
  return list_descriptor = next(list_path.c_str(), flags, mode);
}

int fstat(int descriptor, struct stat* info) noexcept {
  return on_fstat && descriptor == list_descriptor ? on_fstat() : Next(&fstat, "fstat")(descriptor, info);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  return on_read && descriptor == list_descriptor ? on_read(buffer, size)
                                                  : Next(&read, "read")(descriptor, buffer, size);
}

char* realpath(const char* path, char* resolved) noexcept {
  return on_realpath ? on_realpath() : Next(&realpath, "realpath")(path, resolved);
}

// The standard library makes this call: it has to see the definition here.
[[gnu::visibility("default")]] ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
  return on_readlink ? on_readlink() : Next(&readlink, "readlink")(path, buffer, size);
}

int stat(const char* path, struct stat* info) noexcept {
  return on_stat ? on_stat() : Next(static_cast<int (*)(const char*, struct stat*)>(&stat), "stat")(path, info);
}

}  // extern "C"

namespace {

int FailWith(int error) {
  errno = error;
  return -1;
}

/// This process as an application in a folder of its own.
class BundleFault : public testing::Test {
 protected:
  BundleFault() {
    const std::string folder = std::filesystem::canonical("/proc/self/exe").parent_path().string();
    application_folder_.emplace("APPDIR", folder.c_str());
    list_path = folder_.Write("list", "<plist><dict><key>CFBundleVersion</key><string>2.14</string></dict></plist>");
  }
  ~BundleFault() override {
    list_path.clear();
    list_descriptor = -1;
    on_open = {};
    on_fstat = {};
    on_read = {};
  }

  void ExpectNoVersion() {
    int major = -77, minor = -78;
    EXPECT_FALSE(LCFBundle().GetVersionNumber(major, minor));
    EXPECT_EQ(major, -77);
    EXPECT_EQ(minor, -78);
  }
  void ExpectVersion() {
    int major = -77, minor = -78;
    EXPECT_TRUE(LCFBundle().GetVersionNumber(major, minor));
    EXPECT_EQ(major, 2);
    EXPECT_EQ(minor, 14);
  }

  const support::TempFolder folder_;
  std::optional<support::EnvironmentVariable> application_folder_;
};

TEST_F(BundleFault, AListThatCannotBeReadHasNoVersion) {
  ExpectVersion();
  for (const int error : {EACCES, EMFILE, ENFILE, ENOMEM, EIO}) {
    SCOPED_TRACE(error);
    on_open = [=] { return FailWith(error); };
    ExpectNoVersion();
    on_open = {};
    on_fstat = [=] { return FailWith(error); };
    ExpectNoVersion();
    on_fstat = {};
    on_read = [=](void*, size_t) { return FailWith(error); };
    ExpectNoVersion();
    on_read = {};
  }
}

TEST_F(BundleFault, AListIsReadInPiecesAndAfterInterruptions) {
  bool is_interrupted = false;
  on_read = [&](void* buffer, size_t size) -> ssize_t {
    EXPECT_GT(size, 1u);
    is_interrupted = !is_interrupted;
    if (is_interrupted) return FailWith(EINTR);
    return Next(&read, "read")(list_descriptor, buffer, 1);
  };
  ExpectVersion();
}

TEST_F(BundleFault, AListThatGrowsForEverHasNoVersion) {
  size_t given = 0;
  on_read = [&](void* buffer, size_t size) {
    std::memset(buffer, ' ', size);
    given += size;
    return static_cast<ssize_t>(size);
  };
  ExpectNoVersion();
  EXPECT_LT(given, size_t{2} * 1024 * 1024);
}

// Not the root's, which would be somebody else's.
TEST(UnknownExecutable, HasNoFolders) {
  on_readlink = [] { return FailWith(EACCES); };
  const auto resources = [](char* dest) { LGetInstalledApplicationResourcesFolder(dest, 260); };
  const auto bundle = [](char* dest) { LGetBundleFolder(dest, 260); };
  EXPECT_EQ(support::PathOf(resources), "");
  EXPECT_EQ(support::PathOf(bundle), "");
  EXPECT_EQ(support::PathOf(LFile::GetHelpFolder), "");
  EXPECT_EQ(support::PathOf(LFile::GetProgramExecutablePath), "");
  EXPECT_FALSE(LIsApplicationBundled());
  on_readlink = {};
}

/// An untouched FSSpec.
FSSpec Marked() {
  FSSpec spec;
  std::memset(&spec, '#', sizeof spec);
  return spec;
}

class FileSpecFault : public testing::Test {
 protected:
  ~FileSpecFault() override {
    on_realpath = {};
    on_stat = {};
  }
};

TEST_F(FileSpecFault, WhatCannotBeResolvedIsNotSpecified) {
  for (const int error : {EACCES, ENOMEM, EIO, ELOOP}) {
    SCOPED_TRACE(error);
    on_realpath = [=] {
      errno = error;
      return nullptr;
    };
    FSSpec spec = Marked();
    const FSSpec before = spec;
    EXPECT_FALSE(LToFSSpec::CStringToFSSpec("/tmp", &spec));
    EXPECT_EQ(std::memcmp(&spec, &before, sizeof spec), 0);
  }
}

// In a folder that may not be searched, its own steps are not to be had either.
TEST_F(FileSpecFault, AStepIsNoName) {
  for (const char* path : {"/tmp/..", "/tmp/.", "..", "."}) {
    int calls = 0;
    on_realpath = [&]() -> char* {
      errno = EACCES;
      return ++calls == 1 ? nullptr : Next(&realpath, "realpath")("/tmp", nullptr);
    };
    FSSpec spec;
    EXPECT_FALSE(LToFSSpec::CStringToFSSpec(path, &spec)) << path;
  }
}

TEST_F(FileSpecFault, AFolderThatCannotBeLookedAtIsNone) {
  on_stat = [] { return FailWith(EACCES); };
  LCFURL url;
  EXPECT_TRUE(url.CreateFromFullPath("/"));
  EXPECT_FALSE(platform::IsURLOfFolder(url.Get()));
}

}  // namespace

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/platform/linux/application_signature_linux.h>
#include <tillvane/system/LProcessList.h>

namespace {

constexpr unsigned long kApplication = 0x4150504C;  // APPL

TEST(ApplicationCodes, AreTheFirstEightBytes) {
  struct Case {
    std::string file;
    std::optional<std::pair<unsigned int, unsigned int>> codes;
  };
  const Case cases[] = {
      {"APPLttxt", {{0x4150504C, 0x74747874}}},
      {"APPL????", {{0x4150504C, 0x3F3F3F3F}}},
      {"APPLttxt\n", {{0x4150504C, 0x74747874}}},
      {"FNDR\xFF\x80\x01\x7F", {{0x464E4452, 0xFF80017F}}},
      {std::string(8, '\0'), {{0, 0}}},
      {"APPLttx", {}},
      {"", {}},
  };
  const support::TempFolder folder;
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.file));
    platform::ApplicationCodes codes{1, 2};
    const bool is_read = platform::ReadApplicationCodes(folder.Write("PkgInfo", one.file).c_str(), codes);
    EXPECT_EQ(is_read, one.codes.has_value());
    EXPECT_EQ(std::make_pair(codes.type, codes.signature), one.codes.value_or(std::make_pair(1u, 2u)));
  }
}

TEST(ApplicationCodes, NobodyIsWaitedForWhereThereIsNoFile) {
  const support::TempFolder folder;
  platform::ApplicationCodes codes{};
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder.File("pipe"), folder.Path(), folder.File("none"), std::string("/dev/zero")}) {
    EXPECT_FALSE(platform::ReadApplicationCodes(path.c_str(), codes)) << path;
  }
}

/// A program that runs from inside a bundle, which it has to itself.
class RunningApplication : public testing::Test {
 protected:
  RunningApplication() {
    char text[5];
    // Other tests may run at the same time.
    std::snprintf(text, sizeof text, "%04d", getpid() % 10000);
    for (int i = 0; i < 4; ++i) signature_ = signature_ << 8 | static_cast<unsigned char>(text[i]);
    package_information_ = std::string("APPL") + text;
  }

  /// \param executable its path in the folder
  std::unique_ptr<support::ChildProcess> Start(const std::string& executable) const {
    const std::filesystem::path path = folder_.File(executable);
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::copy_file("/bin/sleep", path, std::filesystem::copy_options::overwrite_existing);
    auto child = std::make_unique<support::ChildProcess>(std::vector<std::string>{path.string(), "600"});
    EXPECT_TRUE(child->IsStarted());
    return child;
  }

  void WritePackageInformation(const std::string& bundle, const std::string& text) const {
    std::filesystem::create_directories(folder_.File(bundle + "/Contents"));
    folder_.Write(bundle + "/Contents/PkgInfo", text);
  }

  /// What the serial number's halves are; its answer is that they are not both zero.
  static std::pair<unsigned int, unsigned int> Find(unsigned long signature, unsigned long type) {
    ProcessSerialNumber number{77, 88};
    const bool found = LGetPSNFromSignature(signature, type, &number);
    EXPECT_EQ(found, number.lowLongOfPSN != 0);
    return {number.highLongOfPSN, number.lowLongOfPSN};
  }

  const std::pair<unsigned int, unsigned int> none_{0, 0};
  unsigned long signature_ = 0;
  std::string package_information_;
  support::TempFolder folder_;
};

TEST_F(RunningApplication, IsFoundByBothItsCodes) {
  WritePackageInformation("Some App.app", package_information_);
  EXPECT_EQ(Find(signature_, kApplication), none_);
  {
    const auto child = Start("Some App.app/Contents/MacOS/program");
    const auto number = std::make_pair(0u, static_cast<unsigned int>(child->Pid()));
    EXPECT_EQ(Find(signature_, kApplication), number);
    EXPECT_EQ(Find(signature_, kApplication + 1), none_);
    EXPECT_EQ(Find(signature_ ^ 0x80000000, kApplication), none_);
    EXPECT_EQ(Find(kApplication, signature_), none_);
    // Characters beyond ASCII bring a sign with them.
    EXPECT_EQ(Find(signature_ | 0xFFFFFFFF00000000, kApplication), number);
  }
  EXPECT_EQ(Find(signature_, kApplication), none_);
}

TEST_F(RunningApplication, TheFirstOneIsFound) {
  WritePackageInformation("A.app", package_information_);
  const auto first = Start("A.app/Contents/MacOS/program");
  const auto second = Start("A.app/Contents/MacOS/other");
  EXPECT_EQ(Find(signature_, kApplication).second, static_cast<unsigned int>(std::min(first->Pid(), second->Pid())));
}

TEST_F(RunningApplication, OnlyTheBundleThatHoldsItCounts) {
  WritePackageInformation("A.app", package_information_);
  for (const char* executable : {"A.app/program", "A/Contents/MacOS/program", "program"}) {
    const auto child = Start(executable);
    EXPECT_EQ(Find(signature_, kApplication), none_) << executable;
  }
}

TEST_F(RunningApplication, WithoutReadableCodesItIsSkipped) {
  const auto child = Start("A.app/Contents/MacOS/program");
  EXPECT_EQ(Find(signature_, kApplication), none_) << "no file";
  WritePackageInformation("A.app", package_information_.substr(0, 7));
  EXPECT_EQ(Find(signature_, kApplication), none_) << "too short a file";
  const std::string path = folder_.File("A.app/Contents/PkgInfo");
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(Find(signature_, kApplication), none_) << "a pipe";
  std::filesystem::remove(path);
  WritePackageInformation("A.app", package_information_);
  EXPECT_NE(Find(signature_, kApplication), none_) << "and there it is";
}

TEST_F(RunningApplication, AnExecutableThatWasReplacedStillRunsFromItsBundle) {
  WritePackageInformation("A.app", package_information_);
  const auto child = Start("A.app/Contents/MacOS/program");
  std::filesystem::remove(folder_.File("A.app/Contents/MacOS/program"));
  EXPECT_EQ(Find(signature_, kApplication).second, static_cast<unsigned int>(child->Pid()));
}

}  // namespace

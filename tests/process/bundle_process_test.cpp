// What an application is told about its bundle, in each layout that there is: see desktop_child.cpp.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/report.h>
#include <tests/support/temp_folder.h>

namespace {

namespace fs = std::filesystem;

using support::ProcessResult;
using support::Report;

constexpr unsigned int kEndMs = 60000;

class BundleProcess : public testing::Test {
 protected:
  /// Puts the application somewhere in the folder.
  void Install(const std::string& executable) {
    executable_ = root_ + executable;
    fs::create_directories(fs::path(executable_).parent_path());
    fs::copy_file(TILLVANE_TEST_HELPER, executable_);
  }

  Report Ask(const std::string& application_folder = {}) {
    std::vector<std::string> command = {"/usr/bin/env", "-u", "APPDIR", executable_, "bundle"};
    if (!application_folder.empty()) command.insert(command.begin() + 3, "APPDIR=" + application_folder);
    const ProcessResult result = support::RunProcess(command, kEndMs);
    EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal << ": " << result.errors;
    EXPECT_EQ(result.errors, "");
    Report report = support::ReadReport(result.output);
    EXPECT_EQ(report["opened"], "");
    return report;
  }

  void ExpectVersion(const std::string& version, const std::string& application_folder = {}) {
    Report report = Ask(application_folder);
    EXPECT_EQ(report["has-version"], "1");
    EXPECT_EQ(report["version"], version);
  }
  void ExpectNoVersion(const std::string& application_folder = {}) {
    Report report = Ask(application_folder);
    EXPECT_EQ(report["has-version"], "0");
    EXPECT_EQ(report["version"], "-77 -78");
  }

  void Write(const std::string& file, const std::string& text) const {
    fs::create_directories(fs::path(root_ + file).parent_path());
    std::ofstream(root_ + file, std::ios::binary) << text;
  }
  void WriteVersion(const std::string& file, const std::string& version) const {
    Write(file,
          "<plist version=\"1.0\"><dict><key>CFBundleName</key><string>Shop</string><key>CFBundleVersion</key>"
          "<string>" +
              version + "</string></dict></plist>");
  }

  const support::TempFolder folder_;
  const std::string root_ = fs::canonical(folder_.Path()).string();
  std::string executable_;
};

const std::string kList = "/Shop.app/Contents/Info.plist";
const std::string kExecutable = "/Shop.app/Contents/MacOS/shop";

TEST_F(BundleProcess, InAnApplicationFolder) {
  Install(kExecutable);
  WriteVersion(kList, "2.14.3");
  Report report = Ask();
  EXPECT_EQ(report["bundled"], "1");
  EXPECT_EQ(report["resources"], root_ + "/Shop.app/Contents/Resources");
  EXPECT_EQ(report["nested"], root_ + "/Shop.app/Contents/Resources/resources");
  EXPECT_EQ(report["has-version"], "1");
  EXPECT_EQ(report["version"], "2 14");
}

TEST_F(BundleProcess, InAnAppImage) {
  Install("/mount/usr/bin/shop");
  WriteVersion("/mount/Info.plist", "Version 3.1");
  Report report = Ask(root_ + "/mount");
  EXPECT_EQ(report["bundled"], "1");
  EXPECT_EQ(report["resources"], root_ + "/mount");
  EXPECT_EQ(report["nested"], root_ + "/mount/resources");
  EXPECT_EQ(report["version"], "3 1");
  // Another application's folder is none of ours.
  Write("/other/file", "");
  WriteVersion("/other/Info.plist", "7.7");
  report = Ask(root_ + "/other");
  EXPECT_EQ(report["bundled"], "0");
  EXPECT_EQ(report["resources"], root_ + "/mount/usr/bin");
  EXPECT_EQ(report["version"], "-77 -78");
}

TEST_F(BundleProcess, AsABareExecutable) {
  Install("/bin/shop");
  // Somebody else's.
  WriteVersion("/bin/Info.plist", "7.7");
  Report report = Ask();
  EXPECT_EQ(report["bundled"], "0");
  EXPECT_EQ(report["resources"], root_ + "/bin");
  EXPECT_EQ(report["nested"], root_ + "/bin/resources");
  EXPECT_EQ(report["has-version"], "0");
  EXPECT_EQ(report["version"], "-77 -78");
}

TEST_F(BundleProcess, AResourcesFolderIsCutBetweenCharacters) {
  // The cut falls into the last letter.
  const std::string tail = ".app/Contents/Resources";
  std::string folder = "/" + std::string(100, 'a') + '/';
  folder += std::string(259 - root_.size() - folder.size() - 1, 'b') + "ü";
  Install(folder + ".app/Contents/MacOS/shop");
  Report report = Ask();
  EXPECT_EQ(report["resources"], (root_ + folder).substr(0, 258));
  EXPECT_EQ(report["nested"], (root_ + folder).substr(0, 258) + '/');
}

TEST_F(BundleProcess, AResourcesFolderThatIsNotUTF8IsNone) {
  Install("/Sh\xFFop.app/Contents/MacOS/shop");
  WriteVersion("/Sh\xFFop.app/Contents/Info.plist", "2.14");
  Report report = Ask();
  EXPECT_EQ(report["bundled"], "1");
  EXPECT_EQ(report["resources"], "");
  EXPECT_EQ(report["nested"], "resources");
  EXPECT_EQ(report["version"], "2 14");
}

#ifdef TILLVANE_TEST_PYTHON
// Property lists as another program writes them.
TEST_F(BundleProcess, VersionsInXMLAndInTheBinaryForm) {
  Install(kExecutable);
  const char* const script =
      "import plistlib, sys\n"
      "value = {'CFBundleName': 'Gr\\u00fc\\u00dfe \\U0001f600', 'CFBundleVersion': sys.argv[3], 'LSUIElement': True,\n"
      "  'Ratio': 0.5, 'Icon': b'\\0\\1\\2', 'CFBundleDocumentTypes': [{'Extensions': ['a', 'b', {}, []], 'n': i}\n"
      "  for i in range(200)]}\n"
      "plistlib.dump(value, open(sys.argv[1], 'wb'), fmt=plistlib.PlistFormat[sys.argv[2]])";
  for (const char* format : {"FMT_XML", "FMT_BINARY"}) {
    for (const auto& [text, version] :
         {std::pair("2.14.3", "2 14"), std::pair("Version 2.14", "2 14"), std::pair("3", "3 0"),
          std::pair("V2.14", "0 0"), std::pair("2.14 \xC3\xBC\xF0\x9F\x98\x80", "2 14")}) {
      const ProcessResult written =
          support::RunProcess({TILLVANE_TEST_PYTHON, "-c", script, root_ + kList, format, text}, kEndMs);
      ASSERT_EQ(written.exit_code, 0) << written.errors;
      SCOPED_TRACE(std::string(format) + ' ' + text);
      ExpectVersion(version);
    }
  }
}
#endif

TEST_F(BundleProcess, AVersionsTextIsCutAfterSoManyBytes) {
  Install(kExecutable);
  WriteVersion(kList, std::string(257, '0') + "1.2345");
  ExpectVersion("1 0");
  WriteVersion(kList, std::string(254, '0') + "1.2345");
  ExpectVersion("1 234");
  WriteVersion(kList, std::string(400, '0') + "1.2");
  ExpectVersion("0 0");
}

TEST_F(BundleProcess, WithoutATextThereIsNoVersion) {
  Install(kExecutable);
  ExpectNoVersion();
  std::string nested;
  for (int i = 0; i < 140000; ++i) nested += "<array>";
  for (const std::string& list :
       {std::string(), std::string("2.14"), std::string("<plist><dict><key>CFBundleVersion</key><string>2.14"),
        std::string("<plist><dict><key>CFBundleVersion</key><string></string></dict></plist>"),
        std::string("<plist><dict><key>CFBundleVersion</key><integer>2</integer></dict></plist>"),
        std::string("<plist><dict><key>Version</key><string>2.14</string></dict></plist>"), std::string("bplist00"),
        std::string("bplist00") + std::string(64, '\xFF'), "<plist>" + nested, std::string(3 * 1024 * 1024, '<')}) {
    Write(kList, list);
    SCOPED_TRACE(list.substr(0, 80));
    ExpectNoVersion();
  }
}

TEST_F(BundleProcess, WithoutAFileThatCanBeReadThereIsNoVersion) {
  Install(kExecutable);
  const std::string list = root_ + kList;
  ASSERT_EQ(symlink("nowhere", list.c_str()), 0);
  ExpectNoVersion();
  ASSERT_EQ(unlink(list.c_str()), 0);
  ASSERT_EQ(mkfifo(list.c_str(), 0600), 0);
  ExpectNoVersion();
  ASSERT_EQ(unlink(list.c_str()), 0);
  ASSERT_EQ(mkdir(list.c_str(), 0700), 0);
  ExpectNoVersion();
  ASSERT_EQ(rmdir(list.c_str()), 0);
  ASSERT_EQ(symlink("/dev/zero", list.c_str()), 0);
  ExpectNoVersion();
}

}  // namespace

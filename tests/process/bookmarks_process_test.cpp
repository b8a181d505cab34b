// Grants that the next run of an application takes over: see bookmarks_child.cpp.

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/files.h>
#include <tests/support/message_bus.h>
#include <tests/support/report.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/platform/linux/file_identity_linux.h>

namespace {

namespace fs = std::filesystem;

using support::ChildProcess;
using support::MakeFile;
using support::MakeFolder;
using testing::HasSubstr;
using testing::Not;

constexpr unsigned int kEndMs = 60000;

using Texts = std::vector<std::string>;

/// ThreadSanitizer does not see GLib's own locks, and takes what they guard for races.
const std::string kSanitizerOptions = "TSAN_OPTIONS=ignore_noninstrumented_modules=1:halt_on_error=1";

class BookmarksProcess : public testing::Test {
 protected:
  BookmarksProcess() {
    for (const char* folder : {"home", "config", "granted"}) MakeFolder(File(folder));
  }

  std::string File(const std::string& name) const { return root_ + '/' + name; }

  virtual std::string Bus() const { return "unix:path=" + File("no bus"); }

  Texts Environment() const {
    return {"HOME=" + File("home"), "XDG_CONFIG_HOME=" + File("config"), "XDG_RUNTIME_DIR=" + File(runtime_),
            "DBUS_SESSION_BUS_ADDRESS=" + Bus(), kSanitizerOptions};
  }

  /// \return what it wrote
  std::string Run(Texts command) const {
    command.insert(command.begin(), TILLVANE_TEST_HELPER);
    const support::ProcessResult result = support::RunProcess(command, kEndMs, Environment());
    EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal;
    EXPECT_EQ(result.errors, "");
    return result.output;
  }

  const support::TempFolder folder_;
  const std::string root_ = fs::canonical(folder_.Path()).string();
  std::string runtime_ = "runtime";
};

TEST_F(BookmarksProcess, TheNextRunHasTheGrants) {
  const std::string a = File("granted/a"), b = File("granted/b \xC3\xBC");
  MakeFile(a);
  MakeFolder(b);
  EXPECT_EQ(Run({"add", a, "key a", b, "key b"}), "kept 1\n");
  const std::string expected = "item " + b + " key b\nitem " + a + " key a\nkey key a\nkey key b\n";
  EXPECT_EQ(Run({"list"}), expected);
  EXPECT_EQ(Run({"list"}), expected);
}

TEST_F(BookmarksProcess, ARenamedFileKeepsItsGrantForGood) {
  const std::string a = File("granted/a"), b = File("granted/b"), c = File("granted/c"), other = File("granted/other");
  MakeFile(a);
  MakeFile(other);
  Run({"add", a, "key"});
  const auto identity = platform::IdentityOf(a);
  if (!identity || !identity->has_birth) GTEST_SKIP() << "the file system knows no time of birth";
  fs::rename(a, b);
  for (int run = 0; run < 2; ++run) EXPECT_EQ(Run({"list"}), "item " + b + " key\nkey key\n") << run;
  fs::rename(b, c);
  for (int run = 0; run < 2; ++run) EXPECT_EQ(Run({"list"}), "item " + c + " key\nkey key\n") << run;
}

TEST_F(BookmarksProcess, AFileThatIsGoneMayComeBack) {
  const std::string a = File("granted/a"), b = File("granted/b");
  MakeFile(a);
  MakeFile(b);
  Run({"add", a, "key a", b, "key b"});
  fs::remove(a);
  EXPECT_EQ(Run({"list"}), "item " + b + " key b\nkey key a\nkey key b\n");
  MakeFile(a);
  EXPECT_EQ(Run({"list"}), "item " + b + " key b\nitem " + a + " key a\nkey key a\nkey key b\n");
}

TEST_F(BookmarksProcess, ManyGrantsComeBack) {
  Texts command = {"add"};
  for (int i = 0; i < 30; ++i) {
    const std::string path = File("granted/" + std::to_string(i));
    MakeFile(path);
    command.insert(command.end(), {path, "key " + std::to_string(i)});
  }
  EXPECT_EQ(Run(command), "kept 1\n");
  EXPECT_EQ(support::ReadReport(Run({"time"}))["count"], "30");
}

#ifdef TILLVANE_TEST_DBUSMOCK_PYTHON

/// With a session bus. What the portal mounts is made of files here, but in the last of these tests.
class BookmarksPortal : public BookmarksProcess {
 protected:
  void SetUp() override {
    if (bus_.IsMissing()) GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_NE(bus_.Address(), "") << bus_.Errors();
    MakeFolder(Document(""));
    MakeFile(Document("x.txt"));
  }

  std::string Bus() const override { return bus_.Address(); }
  std::string Document(const std::string& name) const { return File("runtime/doc/1a2b/" + name); }

  void Serve(const Texts& way) {
    Texts command = {TILLVANE_TEST_DBUSMOCK_PYTHON, TILLVANE_TEST_DOCUMENT_PORTAL};
    command.insert(command.end(), way.begin(), way.end());
    portal_ = std::make_unique<ChildProcess>(command, Environment());
    ASSERT_TRUE(portal_->WaitForOutput("ready\n", kEndMs)) << portal_->Errors();
  }
  /// The calls so far.
  std::string Seen() {
    portal_->WaitForEnd(0);
    return portal_->Output();
  }

  support::PrivateBus bus_{folder_};
  std::unique_ptr<ChildProcess> portal_;
};

TEST_F(BookmarksPortal, IsAskedWhereItIsMountedNow) {
  Run({"add", Document("x.txt"), "key"});
  fs::rename(File("runtime/doc"), File("mounted"));
  Serve({"confined", File("mounted")});
  EXPECT_EQ(Run({"list"}), "item " + File("mounted/1a2b/x.txt") + " key\nkey key\n");
  EXPECT_THAT(Seen(), Not(HasSubstr("Info"))) << "it is there by the name that it had";
}

TEST_F(BookmarksPortal, IsAskedOnceWhereItIsMounted) {
  Texts command = {"add"};
  std::string expected, keys;
  for (int i = 0; i < 5; ++i) {
    const std::string name = std::to_string(i);
    MakeFile(Document(name));
    command.insert(command.end(), {Document(name), name});
    expected.insert(0, "item " + File("mounted/1a2b/" + name) + ' ' + name + '\n');
    keys += "key " + name + '\n';
  }
  Run(command);
  fs::rename(File("runtime/doc"), File("mounted"));
  Serve({"confined", File("mounted")});
  EXPECT_EQ(Run({"list"}), expected + keys);
  const std::string seen = Seen();
  EXPECT_NE(seen.find("GetMountPoint"), std::string::npos);
  EXPECT_EQ(seen.find("GetMountPoint"), seen.rfind("GetMountPoint")) << seen;
}

// A confined application is not told the names: the document keeps its own.
TEST_F(BookmarksPortal, MayRefuseToTellTheName) {
  Run({"add", Document("x.txt"), "key"});
  fs::rename(File("runtime/doc"), File("mounted"));
  fs::rename(File("mounted/1a2b/x.txt"), File("aside"));
  Serve({"confined", File("mounted")});
  EXPECT_EQ(Run({"list"}), "key key\n");
  EXPECT_THAT(Seen(), HasSubstr("Info \"1a2b\""));
}

TEST_F(BookmarksPortal, MayKnowADocumentByAnotherName) {
  MakeFolder(Document("folder"));
  MakeFile(Document("folder/in it"));
  Run({"add", Document("x.txt"), "x", Document("folder/in it"), "in"});
  MakeFolder(File("mounted/1a2b/new name"));
  MakeFile(File("mounted/1a2b/new name/in it"));
  fs::remove_all(File("runtime/doc"));
  Serve({"serve", File("mounted"), "/home/ada/new name"});
  EXPECT_EQ(Run({"list"}), "item " + File("mounted/1a2b/new name/in it") + " in\nitem " +
                               File("mounted/1a2b/new name") + " x\nkey x\nkey in\n");
}

TEST_F(BookmarksPortal, IsNotAskedForADocumentThatIsThere) {
  Run({"add", Document("x.txt"), "key"});
  Serve({"confined", File("mounted")});
  EXPECT_EQ(Run({"list"}), "item " + Document("x.txt") + " key\nkey key\n");
  EXPECT_THAT(Seen(), Not(HasSubstr("GetMountPoint")));
}

// The document may be given again, or the portal be there the next time.
TEST_F(BookmarksPortal, WhatItRefusesStaysForTheNextTime) {
  Run({"add", Document("x.txt"), "key"});
  fs::rename(Document("x.txt"), File("aside"));
  EXPECT_EQ(Run({"list"}), "key key\n") << "there is no portal";
  Serve({"refuse"});
  EXPECT_EQ(Run({"list"}), "key key\n");
  EXPECT_THAT(Seen(), HasSubstr("GetMountPoint"));
  fs::rename(File("aside"), Document("x.txt"));
  EXPECT_EQ(Run({"list"}), "item " + Document("x.txt") + " key\nkey key\n");
}

TEST_F(BookmarksPortal, HoldsUpTheStartOnce) {
  for (const Texts& way : {Texts{"silent"}, Texts{"slow", File("mounted")}}) {
    MakeFolder(Document(""));
    Texts command = {"add"};
    for (int i = 0; i < 20; ++i) {
      const std::string path = Document(std::to_string(i));
      MakeFile(path);
      command.insert(command.end(), {path, std::to_string(i)});
    }
    EXPECT_EQ(Run(command), "kept 1\n");
    fs::remove_all(File("runtime/doc"));
    Serve(way);
    support::Report report = support::ReadReport(Run({"time"}));
    EXPECT_EQ(report["count"], "0");
    EXPECT_LT(std::stoll("0" + report["ms"]), support::kSoonMs) << way[0];
    portal_.reset();
  }
}

/// The portal itself, which mounts its folder.
class BookmarksRealPortal : public BookmarksPortal {
 protected:
  void SetUp() override {
    BookmarksPortal::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    if (access("/dev/fuse", R_OK | W_OK) != 0) GTEST_SKIP() << "/dev/fuse is not there, or may not be used";
    if (access(kPortal, X_OK) != 0 || access(kStore, X_OK) != 0) {
      GTEST_SKIP() << "the document portal is not installed: package xdg-desktop-portal";
    }
    fs::remove_all(File("runtime"));
    store_ = std::make_unique<ChildProcess>(Texts{kStore}, PortalEnvironment());
    Mount("runtime");
    if (!IsMounted()) GTEST_SKIP() << "it does not mount: " << portal_->Errors();
  }
  void TearDown() override { Unmount(); }

  Texts PortalEnvironment() const {
    Texts environment = Environment();
    environment.push_back("XDG_DATA_HOME=" + File("data"));
    return environment;
  }

  /// In a runtime folder that is new.
  void Mount(const std::string& runtime) {
    runtime_ = runtime;
    MakeFolder(File(runtime_));
    ASSERT_EQ(chmod(File(runtime_).c_str(), 0700), 0);
    portal_ = std::make_unique<ChildProcess>(Texts{kPortal}, PortalEnvironment());
    support::WaitUntil([&] { return IsMounted() || portal_->WaitForEnd(0); });
  }
  void Unmount() {
    if (portal_ == nullptr) return;
    portal_->Signal(SIGTERM);
    portal_->WaitForEnd(kEndMs);
    umount2(File(runtime_ + "/doc").c_str(), MNT_DETACH);
    portal_.reset();
  }
  bool IsMounted() const { return fs::exists(File(runtime_ + "/doc/by-app")); }

  std::string AskPortal(const std::string& command, const std::string& argument) const {
    const support::ProcessResult result = support::RunProcess(
        {TILLVANE_TEST_DBUSMOCK_PYTHON, TILLVANE_TEST_DOCUMENT_PORTAL, command, argument}, kEndMs, Environment());
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    return support::ReadReport(result.output)["document"];
  }

  static constexpr const char* kPortal = "/usr/libexec/xdg-document-portal";
  static constexpr const char* kStore = "/usr/libexec/xdg-permission-store";

  std::unique_ptr<ChildProcess> store_;
};

TEST_F(BookmarksRealPortal, GivesADocumentAgain) {
  MakeFile(File("granted/x.txt"), "text");
  const std::string id = AskPortal("add", File("granted/x.txt"));
  ASSERT_NE(id, "");
  const std::string path = File("runtime/doc/" + id + "/x.txt");
  ASSERT_EQ(support::Contents(path), "text");
  EXPECT_EQ(Run({"add", path, "key"}), "kept 1\n");
  EXPECT_EQ(Run({"list"}), "item " + path + " key\nkey key\n");
  // The user logs in again, and the portal is mounted elsewhere.
  Unmount();
  EXPECT_EQ(Run({"list"}), "key key\n");
  fs::remove_all(File("runtime"));
  Mount("another");
  ASSERT_TRUE(IsMounted()) << portal_->Errors();
  EXPECT_EQ(Run({"list"}), "item " + File("another/doc/" + id + "/x.txt") + " key\nkey key\n");
  AskPortal("delete", id);
  EXPECT_EQ(Run({"list"}), "key key\n");
}

#endif

}  // namespace

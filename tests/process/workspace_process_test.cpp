// An application that asks the desktop to show a file, or for the user's contacts: see desktop_child.cpp.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/message_bus.h>
#include <tests/support/report.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

namespace fs = std::filesystem;

using support::ChildProcess;
using support::MuteBus;
using support::PrivateBus;
using support::ProcessResult;
using support::Report;
using testing::HasSubstr;
using testing::Not;

constexpr unsigned int kEndMs = 60000;

using Texts = std::vector<std::string>;

/// ThreadSanitizer does not see GLib's own locks, and takes what they guard for races.
const std::string kSanitizerOptions = "TSAN_OPTIONS=ignore_noninstrumented_modules=1:halt_on_error=1:die_after_fork=0";

/// Runs the application with variables of its own: "NAME=VALUE", or "NAME" for one that is not set.
Report Ask(const Texts& variables, const Texts& arguments) {
  Texts command = {"/usr/bin/env"};
  for (const std::string& variable : variables) {
    if (variable.find('=') != std::string::npos) continue;
    command.insert(command.end(), {"-u", variable});
  }
  std::copy_if(variables.begin(), variables.end(), std::back_inserter(command),
               [](const std::string& variable) { return variable.find('=') != std::string::npos; });
  command.push_back(kSanitizerOptions);
  command.emplace_back(TILLVANE_TEST_HELPER);
  command.insert(command.end(), arguments.begin(), arguments.end());
  const ProcessResult result = support::RunProcess(command, kEndMs);
  EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal << ": " << result.errors;
  EXPECT_EQ(result.errors, "");
  return support::ReadReport(result.output);
}

std::string SessionBus(const std::string& address) { return "DBUS_SESSION_BUS_ADDRESS=" + address; }

void ExpectNotRevealed(const Texts& variables, long long most_ms = support::kAtOnceMs) {
  Report report = Ask(variables, {"reveal", "/tmp"});
  EXPECT_EQ(report["revealed"], "0");
  EXPECT_LT(std::stoll("0" + report["ms"]), most_ms);
  EXPECT_EQ(report["turned"], "0");
  EXPECT_EQ(report["sigpipe"], "default");
}

class Workspace : public testing::Test {
 protected:
  void SetUp() override {
    if (bus_.IsMissing()) GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_NE(bus_.Address(), "") << bus_.Errors();
  }

  const support::TempFolder folder_;
  PrivateBus bus_{folder_};
};

#ifdef TILLVANE_TEST_DBUSMOCK_PYTHON
/// With a file manager on the bus.
class WorkspaceFileManager : public Workspace {
 protected:
  void Serve(const std::string& way) {
    manager_ = std::make_unique<ChildProcess>(Texts{TILLVANE_TEST_DBUSMOCK_PYTHON, TILLVANE_TEST_FILE_MANAGER, way},
                                              Texts{SessionBus(bus_.Address())});
    ASSERT_TRUE(manager_->WaitForOutput("ready\n", kEndMs)) << manager_->Errors();
  }

  /// The calls so far.
  std::string Seen() {
    manager_->WaitForEnd(0);
    return manager_->Output();
  }

  std::unique_ptr<ChildProcess> manager_;
};

TEST_F(WorkspaceFileManager, ShowsAFileByItsURI) {
  Serve("answer");
  const struct {
    const char *path, *uri;
  } cases[] = {
      {"/tmp", "file:///tmp"},
      {"/a b/\xC3\xBC%#?;.txt", "file:///a%20b/%C3%BC%25%23%3F%3B.txt"},
      {"/a/./b/../c//d", "file:///a/c/d"},
      {"/not utf-8 \xFF", "file:///not%20utf-8%20%FF"},
      {"/'quotes\"", "file:///'quotes%22"},
      {"//tmp", "file:///tmp"},
      {"//nowhere/x", "file:///nowhere/x"},
      {"/usr/", "file:///usr"},
  };
  for (const auto& c : cases) {
    Report report = Ask({SessionBus(bus_.Address())}, {"reveal", c.path});
    EXPECT_EQ(report["revealed"], "1") << c.path;
    EXPECT_THAT(Seen(), HasSubstr(std::string("ShowItems [\"") + c.uri + "\"] \"\"\n"));
  }
}

// Steps are taken where the system takes them, and a link is shown as one.
TEST_F(WorkspaceFileManager, ShowsAFileBehindLinks) {
  Serve("answer");
  const support::TempFolder folder;
  const std::string root = fs::canonical(folder.Path()).string();
  fs::create_directories(root + "/real/deep");
  fs::create_directory_symlink(root + "/real/deep", root + "/link");
  for (const auto& [path, shown] : {std::pair("/link/../x", "/real/x"), std::pair("/link", "/link"),
                                    std::pair("/link/..", "/real"), std::pair("/link/x", "/real/deep/x")}) {
    EXPECT_EQ(Ask({SessionBus(bus_.Address())}, {"reveal", root + path})["revealed"], "1") << path;
    EXPECT_THAT(Seen(), HasSubstr("[\"file://" + root + shown + "\"]")) << path;
  }
}

TEST_F(WorkspaceFileManager, ShowsAFileOfTheCurrentFolder) {
  Serve("answer");
  const fs::path before = fs::current_path();
  fs::current_path("/usr");
  EXPECT_EQ(Ask({SessionBus(bus_.Address())}, {"reveal", "share/x"})["revealed"], "1");
  fs::current_path(before);
  EXPECT_THAT(Seen(), HasSubstr("[\"file:///usr/share/x\"]"));
}

TEST_F(WorkspaceFileManager, LeavesNoTrace) {
  Serve("answer");
  Report report = Ask({SessionBus(bus_.Address())}, {"reveal", "/tmp", "4"});
  EXPECT_EQ(report["revealed"], "1 1 1 1");
  EXPECT_EQ(report["opened"], "");
  EXPECT_EQ(report["turned"], "0");
  EXPECT_EQ(report["sigpipe"], "default");
}

TEST_F(WorkspaceFileManager, IsFoundWhereTheUsersBusLies) {
  Serve("answer");
  const std::string runtime = "XDG_RUNTIME_DIR=" + folder_.Path();
  EXPECT_EQ(Ask({"DBUS_SESSION_BUS_ADDRESS", runtime}, {"reveal", "/tmp"})["revealed"], "1");
  // The variable goes before.
  ExpectNotRevealed({SessionBus("unix:path=" + folder_.File("nothing")), runtime});
  // A name with characters that have a meaning in addresses.
  const std::string odd = folder_.File("a,b;c=d%e");
  fs::create_directory(odd);
  fs::create_symlink(folder_.File("bus"), odd + "/bus");
  EXPECT_EQ(Ask({"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR=" + odd}, {"reveal", "/tmp"})["revealed"], "1");
}

TEST_F(WorkspaceFileManager, MayRefuse) {
  Serve("refuse");
  ExpectNotRevealed({SessionBus(bus_.Address())});
  EXPECT_THAT(Seen(), HasSubstr("ShowItems"));
}

TEST_F(WorkspaceFileManager, MaySayNothing) {
  Serve("silent");
  ExpectNotRevealed({SessionBus(bus_.Address())}, support::kSoonMs);
}

TEST_F(WorkspaceFileManager, IsNotAskedWithoutDescriptors) {
  Serve("answer");
  const std::string command = "ulimit -n 64; exec \"$0\" reveal-without-descriptors /tmp";
  const ProcessResult result = support::RunProcess({"/bin/sh", "-c", command, TILLVANE_TEST_HELPER}, kEndMs,
                                                   {SessionBus(bus_.Address()), kSanitizerOptions});
  EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal << ": " << result.errors;
  EXPECT_THAT(result.output, testing::StartsWith("revealed 0\n"));
  EXPECT_THAT(result.output, HasSubstr("revealed 1\n"));
}

TEST_F(WorkspaceFileManager, IsGivenUpInAForkedProcess) {
  Serve("answer");
  Report report = Ask({SessionBus(bus_.Address())}, {"reveal-in-a-child", "/tmp"});
  EXPECT_EQ(report["revealed"], "1 0");
  EXPECT_EQ(report["child"], "0");
}
#endif

TEST_F(Workspace, MayHaveNoFileManager) { ExpectNotRevealed({SessionBus(bus_.Address())}); }

TEST(WorkspaceBus, MayBeAbsent) {
  const support::TempFolder folder;
  for (const std::string& address :
       {"unix:path=" + folder.File("nothing"), std::string("no address"), std::string("unix:"), std::string(),
        std::string("tcp:host=256.256.256.256,port=1")}) {
    SCOPED_TRACE(address);
    ExpectNotRevealed({SessionBus(address)});
  }
  ExpectNotRevealed({"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"});
  ExpectNotRevealed({"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR=" + folder.Path()});
  ExpectNotRevealed({"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR=relative"});
  // No socket.
  folder.Write("bus", "");
  ExpectNotRevealed({"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR=" + folder.Path()});
}

// What starts a bus is found by its name.
TEST(WorkspaceBus, IsNotStarted) {
  const support::TempFolder folder;
  const std::string launched = folder.File("launched");
  const std::string launcher = folder.Write("dbus-launch", "#!/bin/sh\n: >\"" + launched + "\"\n");
  ASSERT_EQ(chmod(launcher.c_str(), 0700), 0);
  const std::string path = "PATH=" + folder.Path() + ":/usr/bin:/bin";
  const Texts display = {path, "DISPLAY=:99", "XDG_RUNTIME_DIR=" + folder.Path()};
  for (const char* address :
       {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS=autolaunch:",
        "DBUS_SESSION_BUS_ADDRESS=unix:path=/nothing/there;autolaunch:", "DBUS_SESSION_BUS_ADDRESS="}) {
    SCOPED_TRACE(address);
    Texts variables = display;
    variables.emplace_back(address);
    ExpectNotRevealed(variables);
    EXPECT_FALSE(fs::exists(launched));
  }
}

TEST(WorkspaceBus, MaySayNothing) {
  for (const bool lets_in : {false, true}) {
    SCOPED_TRACE(lets_in ? "after letting the caller in" : "at all");
    const support::TempFolder folder;
    const MuteBus bus(folder, lets_in);
    ExpectNotRevealed({SessionBus(bus.Address())}, support::kSoonMs);
  }
}

// --- Contacts ---

/// A user's applications.
class WorkspaceContacts : public testing::Test {
 protected:
  WorkspaceContacts() {
    for (const char* name : {"/data/applications", "/data/mime", "/config"}) fs::create_directories(root_ + name);
    Write("/data/mime/subclasses", "text/vcard text/plain\n");
    Write("/data/mime/globs2", "50:text/plain:*.txt\n");
  }

  void Write(const std::string& file, const std::string& text) const { std::ofstream(root_ + file) << text; }

  /// An application that leaves a note of how it was started.
  void AddApplication(const std::string& name, const std::string& types, const std::string& more = {}) {
    const std::string program = root_ + '/' + name + ".sh";
    Write('/' + name + ".sh", "#!/bin/sh\n{ echo \"$0 $*\"; umask; ps -o sid= -p $$ | tr -d ' '; pwd; } >\"" +
                                  Note(name) + ".new\"\nmv \"" + Note(name) + ".new\" \"" + Note(name) +
                                  "\"\necho chatter\n");
    EXPECT_EQ(chmod(program.c_str(), 0700), 0);
    AddEntry(name, types, "Exec=" + program + " --contacts %U\n" + more);
  }
  void AddEntry(const std::string& name, const std::string& types, const std::string& lines) {
    Write("/data/applications/" + name + ".desktop",
          "[Desktop Entry]\nType=Application\nName=" + name + "\nMimeType=" + types + "\n" + lines);
    for (std::size_t at = 0, end; (end = types.find(';', at)) != std::string::npos; at = end + 1) {
      cache_ += types.substr(at, end - at) + '=' + name + ".desktop;\n";
    }
    Write("/data/applications/mimeinfo.cache", "[MIME Cache]\n" + cache_);
  }
  void SetDefault(const std::string& type, const std::string& name) const {
    std::ofstream(root_ + "/config/mimeapps.list", std::ios::app) << "[Default Applications]\n"
                                                                  << type << '=' << name << ".desktop;\n";
  }

  Report Open(const std::string& bus = "DBUS_SESSION_BUS_ADDRESS=unix:path=/nothing/there") const {
    return Ask(
        {"XDG_DATA_HOME=" + root_ + "/data", "XDG_DATA_DIRS=" + root_ + "/none", "XDG_CONFIG_HOME=" + root_ + "/config",
         "XDG_CONFIG_DIRS=" + root_ + "/none", "XDG_CURRENT_DESKTOP=", bus},
        {"contacts"});
  }

  std::string Note(const std::string& name) const { return root_ + "/note-" + name; }

  /// The lines of an application's note; empty when it was not started.
  Texts WaitForNote(const std::string& name) const {
    support::WaitUntil([&] { return fs::exists(Note(name)); });
    std::ifstream file(Note(name));
    Texts lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  const support::TempFolder folder_;
  const std::string root_ = folder_.Path();
  std::string cache_;
};

TEST_F(WorkspaceContacts, AreForTheApplicationThatDealsWithThem) {
  AddApplication("book", "text/vcard;");
  Report report = Open();
  EXPECT_EQ(report["status"], "0");
  EXPECT_EQ(report["umask"], "0") << "the application's own";
  const Texts note = WaitForNote("book");
  ASSERT_EQ(note.size(), 4u);
  EXPECT_EQ(note[0], root_ + "/book.sh --contacts");
  EXPECT_EQ(note[1], "0022");
  EXPECT_NE(note[2], report["session"]);
  EXPECT_NE(note[3], fs::current_path()) << "which it would keep busy";
}

TEST_F(WorkspaceContacts, BeginInTheFolderOfTheirApplication) {
  fs::create_directory(root_ + "/begin");
  AddApplication("book", "text/vcard;", "Path=" + root_ + "/begin\n");
  EXPECT_EQ(Open()["status"], "0");
  const Texts note = WaitForNote("book");
  ASSERT_EQ(note.size(), 4u);
  EXPECT_EQ(note[3], root_ + "/begin");
}

TEST_F(WorkspaceContacts, AreTheUsersChoiceBeforeAll) {
  AddApplication("book", "text/vcard;");
  AddApplication("other", "text/vcard;");
  for (const auto& [chosen, passed_over] : {std::pair("other", "book"), std::pair("book", "other")}) {
    SetDefault("text/vcard", chosen);
    EXPECT_EQ(Open()["status"], "0");
    EXPECT_EQ(WaitForNote(chosen).size(), 4u);
    EXPECT_FALSE(fs::exists(Note(passed_over)));
    fs::remove(Note(chosen));
  }
}

TEST_F(WorkspaceContacts, AreNotOpenedByWhatOpensAnyText) {
  AddApplication("editor", "text/plain;");
  EXPECT_EQ(Open()["status"], "-10814");
  AddApplication("book", "text/x-vcard;");
  EXPECT_EQ(Open()["status"], "0");
  EXPECT_EQ(WaitForNote("book").size(), 4u);
  EXPECT_FALSE(fs::exists(Note("editor")));
}

TEST_F(WorkspaceContacts, HaveSeveralTypes) {
  AddApplication("book", "text/directory;");
  EXPECT_EQ(Open()["status"], "0");
  EXPECT_EQ(WaitForNote("book").size(), 4u);
}

TEST_F(WorkspaceContacts, OfNobodyHaveAStatus) {
  EXPECT_EQ(Open()["status"], "-10814");
  AddApplication("mail", "x-scheme-handler/mailto;");
  EXPECT_EQ(Open()["status"], "-10814");
  AddEntry("gone", "text/vcard;", "Exec=" + root_ + "/not-there %U\n");
  EXPECT_EQ(Open()["status"], "-10814");
  AddApplication("console", "text/x-vcard;", "Terminal=true\n");
  EXPECT_EQ(Open()["status"], "-10814");
  EXPECT_FALSE(fs::exists(Note("console")));
}

TEST_F(WorkspaceContacts, ThatCannotBeStartedHaveAnotherStatus) {
  Write("/broken.sh", "#!/no/such/interpreter\n");
  ASSERT_EQ(chmod((root_ + "/broken.sh").c_str(), 0700), 0);
  AddEntry("broken", "text/vcard;", "Exec=" + root_ + "/broken.sh\n");
  EXPECT_EQ(Open()["status"], "-10810");
}

TEST_F(WorkspaceContacts, DoNotWaitForTheBus) {
  AddApplication("book", "text/vcard;", "DBusActivatable=true\n");
  const MuteBus bus(folder_, true);
  Report report = Open(SessionBus(bus.Address()));
  EXPECT_EQ(report["status"], "0");
  EXPECT_LT(std::stoll("0" + report["ms"]), support::kAtOnceMs);
  EXPECT_EQ(WaitForNote("book").size(), 4u);
}

TEST_F(WorkspaceContacts, NeedDescriptors) {
  AddApplication("book", "text/vcard;");
  const std::string command = "ulimit -n 64; exec \"$0\" contacts-without-descriptors";
  const ProcessResult result =
      support::RunProcess({"/bin/sh", "-c", command, TILLVANE_TEST_HELPER}, kEndMs,
                          {"XDG_DATA_HOME=" + root_ + "/data", "XDG_DATA_DIRS=" + root_, kSanitizerOptions});
  EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal << ": " << result.errors;
  EXPECT_THAT(result.output, testing::StartsWith("status -10810\n"));
  EXPECT_THAT(result.output, HasSubstr("status 0\n"));
}

}  // namespace

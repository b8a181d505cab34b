// A user who asks for the administrator's rights, and the stage that he does it on: a mount namespace with a message
// bus and a polkitd of its own. See privilege_process_test.cpp.
//
// usage: privilege_child stage FOLDER TOOL-HELPER OPTION... -- CALL...
//   allow=ACTION    a rule that lets everybody do it          action       ours is installed
//   refuse=ACTION   a rule that lets nobody                   moved        in a package that was moved
//   env=NAME=VALUE  what the caller's environment has        no-helper    the library is there without it
//   pkexec=SCRIPT   what is run in pkexec's place
// It runs `privilege_child call CALL...` as a user who is none of the administrators, and ends as that does; 77 means
// that there can be no such stage here, and why stands on standard error.
//
// usage: privilege_child call [agent=ERROR] [read=ERROR] [quiet] FORM TOOL [ARGUMENT...]
//   read=ERROR is EIO or EINTR: the first byte of output is not read the first time
//   FORM is copy, vector, line or plain: one of the functions; the last two take one TOOL that is a command line
// The tool's output is its own; "result N" and what was left open go to standard error.

#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <tests/support/child_process.h>
#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/polkit_agent.h>
#include <tests/support/waiting.h>
#include <tillvane/system/LRunCommand.h>

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr int kNoStage = 77;
constexpr unsigned int kEndMs = 60000;
constexpr unsigned int kUser = 54321;

// --- The call ---

int read_error = 0;  ///< of the next read of one byte

}  // namespace

// In place of the C library's.
extern "C" ssize_t read(int file, void* bytes, size_t size) {
  if (size == 1 && read_error != 0) {
    return support::FailNoted(std::exchange(read_error, 0));
  }
  return support::Next(&read, "read")(file, bytes, size);
}

namespace {

bool Take(Words* words, const std::string& word) {
  if (words->empty() || words->front() != word) return false;
  words->erase(words->begin());
  return true;
}

int Run(const Words& words, bool echo) {
  LProcessInterfaceVoid process;
  const std::string& form = words[0];
  if (form == "plain") return LRunCommandWithPrivilege(words[1].c_str(), echo) ? 100 : 101;
  if (form == "line") return LRunCommandWithPrivilege(process, words[1].c_str(), echo);
  std::vector<const char*> arguments;
  for (std::size_t i = 2; i < words.size(); ++i) arguments.push_back(words[i].c_str());
  arguments.push_back(nullptr);
  if (form == "copy") return LRunCommandWithPrivilege(process, words[1].c_str(), arguments.data(), echo);
  return LRunCommandWithPrivilege(process, words[1].c_str(), const_cast<char* const*>(arguments.data()), echo);
}

int Call(Words words) {
  umask(0);
  std::unique_ptr<support::PolkitAgent> agent;
  if (!words.empty() && words.front().rfind("agent=", 0) == 0) {
    agent = std::make_unique<support::PolkitAgent>(words.front().substr(6));
    if (!agent->IsRegistered()) return 3;
    words.erase(words.begin());
  }
  if (Take(&words, "read=EIO")) read_error = EIO;
  if (Take(&words, "read=EINTR")) read_error = EINTR;
  const bool echo = !Take(&words, "quiet");
  const support::OpenDescriptors before = support::ListOpenDescriptors();
  const int result = Run(words, echo);
  std::fprintf(stderr, "result %d\n%s", result,
               support::DescribeChanges(before, support::ListOpenDescriptors()).c_str());
  if (echo && waitpid(-1, nullptr, WNOHANG) != -1) std::fprintf(stderr, "a child is left\n");
  return 0;
}

// --- The stage ---

/// Ends what has been started on the way out.
[[noreturn]] void GiveUp(const std::string& what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

void Mount(const char* source, const std::string& target, const char* type, unsigned long flags) {
  if (mount(source, target.c_str(), type, flags, nullptr) != 0) GiveUp("mount " + target);
}

std::string Read(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
  if (chmod(path.c_str(), 0644) != 0) GiveUp(path);
}

/// A file or folder of this process's that is to be seen elsewhere: other users may not come to it where it lies.
void Show(const std::string& source, const std::string& target) {
  fs::create_directories(fs::path(target).parent_path());
  if (fs::is_directory(source)) {
    fs::create_directories(target);
  } else {
    std::ofstream{target};
  }
  Mount(source.c_str(), target, nullptr, MS_BIND);
}

class Stage {
 public:
  Stage(const std::string& folder, const std::string& helper, const Words& options) : options_(options) {
    if (unshare(CLONE_NEWNS) != 0) GiveUp("a mount namespace");
    Mount("none", "/", nullptr, MS_REC | MS_PRIVATE);
    const std::string own_actions = Read("/usr/share/polkit-1/actions/org.freedesktop.policykit.policy");
    for (const char* path : {"/run", "/etc/polkit-1", "/usr/share/polkit-1"}) {
      fs::create_directories(path);
      Mount("tmpfs", path, "tmpfs", 0);
      if (chmod(path, 0755) != 0) GiveUp(path);
    }
    for (const char* path : {"/run/dbus", "/run/tmp", "/etc/polkit-1/rules.d", "/usr/share/polkit-1/rules.d",
                             "/usr/share/polkit-1/actions"}) {
      fs::create_directories(path);
    }
    AddUser();
    ShowProgram(helper);
    Write("/usr/share/polkit-1/actions/org.freedesktop.policykit.policy", own_actions);
    if (Has("action")) WriteAction();
    WriteRules();
    ReplacePkexec();
    Show(folder, "/run/folder");
    if (chmod("/run/folder", 0755) != 0) GiveUp(folder);
    StartBus();
    StartPolkit();
  }

  int Call(const Words& call) {
    // No terminal to ask on either.
    Words command = {
        "/usr/bin/env",        "setsid",         "--wait", "setpriv", "--reuid", std::to_string(kUser), "--regid",
        std::to_string(kUser), "--clear-groups", program_, "call"};
    command.insert(command.end(), call.begin(), call.end());
    if (chdir("/run/folder") != 0) GiveUp("/run/folder");
    Words environment;
    for (const std::string& option : options_) {
      if (option.rfind("env=", 0) == 0) environment.push_back(option.substr(4));
    }
    const support::ProcessResult result = support::RunProcess(command, kEndMs, environment);
    std::fwrite(result.output.data(), 1, result.output.size(), stdout);
    std::fputs(result.errors.c_str(), stderr);
    return result.exit_code;
  }

 private:
  bool Has(const std::string& option) const {
    return std::find(options_.begin(), options_.end(), option) != options_.end();
  }

  static void AddUser() {
    Write("/run/passwd", Read("/etc/passwd") + "tester:x:54321:54321::/nonexistent:/bin/sh\n");
    Mount("/run/passwd", "/etc/passwd", nullptr, MS_BIND);
  }

  /// This program where everybody may run it, and the helper where a package has it, or beside.
  void ShowProgram(const std::string& helper) {
    program_ = Has("moved") ? "/run/package/" TILLVANE_TEST_LIB "/program" : "/run/package/program";
    helper_ = Has("moved") ? "/run/package/" TILLVANE_TEST_LIBEXEC "/tillvane-privileged-tool"
                           : "/run/package/tillvane-privileged-tool";
    Show(fs::read_symlink("/proc/self/exe"), program_);
    if (!Has("no-helper")) Show(helper, helper_);
  }

  void WriteAction() const {
    std::string text = Read(TILLVANE_TEST_POLICY);
    const std::string mark = "@TILLVANE_HELPER@";
    text.replace(text.find(mark), mark.size(), helper_);
    Write("/usr/share/polkit-1/actions/system.privilege.admin.policy", text);
  }

  void WriteRules() const {
    std::string rules;
    for (const std::string& option : options_) {
      const std::string word = option.substr(0, option.find('='));
      if (word != "allow" && word != "refuse") continue;
      rules += "polkit.addRule(function(action, subject) { if (action.id == '" + option.substr(word.size() + 1) +
               "' && subject.user == 'tester') return polkit.Result." + (word == "allow" ? "YES" : "NO") + "; });\n";
    }
    Write("/etc/polkit-1/rules.d/1.rules", rules);
  }

  void ReplacePkexec() const {
    for (const std::string& option : options_) {
      if (option.rfind("pkexec=", 0) != 0) continue;
      Write("/run/pkexec", "#!/bin/sh\n" + option.substr(7) + '\n');
      if (chmod("/run/pkexec", 0755) != 0) GiveUp("/run/pkexec");
      Mount("/run/pkexec", "/usr/bin/pkexec", nullptr, MS_BIND);
    }
  }

  void StartBus() {
    Write("/run/bus.conf",
          "<busconfig><type>system</type><listen>unix:path=/run/dbus/system_bus_socket</listen>"
          "<policy context='default'><allow user='*'/><allow send_destination='*'/><allow receive_sender='*'/>"
          "<allow own='*'/></policy></busconfig>");
    bus_ =
        std::make_unique<support::ChildProcess>(Words{"/usr/bin/env", "setpriv", "--pdeathsig", "KILL", "dbus-daemon",
                                                      "--config-file=/run/bus.conf", "--nofork", "--print-address"});
    if (!bus_->WaitForOutput("\n", kEndMs)) GiveUp("dbus-daemon: " + bus_->Errors());
  }

  void StartPolkit() {
    std::string daemon;
    for (const char* path : {"/usr/lib/polkit-1/polkitd", "/usr/libexec/polkitd", "/usr/libexec/polkit-1/polkitd"}) {
      if (access(path, X_OK) == 0) daemon = path;
    }
    if (daemon.empty()) GiveUp("polkitd");
    polkit_ = std::make_unique<support::ChildProcess>(Words{daemon});
    GDBusConnection* const connection = ConnectToBus();
    const bool is_there = support::WaitUntil([&] { return HasOwner(connection); });
    g_object_unref(connection);
    if (!is_there) GiveUp("polkitd: " + polkit_->Errors());
  }

  static GDBusConnection* ConnectToBus() {
    GDBusConnection* const connection = support::ConnectToSystemBus();
    if (connection == nullptr) GiveUp("the bus");
    return connection;
  }

  static bool HasOwner(GDBusConnection* connection) {
    GVariant* const reply =
        g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    "NameHasOwner", g_variant_new("(s)", "org.freedesktop.PolicyKit1"),
                                    G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) return false;
    gboolean has_owner = FALSE;
    g_variant_get(reply, "(b)", &has_owner);
    g_variant_unref(reply);
    return has_owner != FALSE;
  }

  const Words options_;
  std::string program_, helper_;
  // Ended in the other order.
  std::unique_ptr<support::ChildProcess> bus_, polkit_;
};

}  // namespace

int main(int count, char** arguments) {
  Words words(arguments + 1, arguments + count);
  if (Take(&words, "call") && words.size() >= 2) return Call(words);
  const bool is_stage = Take(&words, "stage");
  const auto mark = std::find(words.begin(), words.end(), "--");
  if (!is_stage || mark - words.begin() < 2 || mark == words.end()) return 2;
  try {
    return Stage(words[0], words[1], {words.begin() + 2, mark}).Call({mark + 1, words.end()});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return kNoStage;
  }
}

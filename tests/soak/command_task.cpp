#include <unistd.h>

#include <array>

#include "call_thread.h"
#include "files.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr unsigned int kLongMs = 60000;

class CommandTask final : public Task {
 public:
  explicit CommandTask(const std::string& folder) : file_(folder + "/written"), text_(Pattern(3000)) {
    std::filesystem::create_directories(folder);
  }

  void Round(LProcessInterface& process) override {
    ReadFromCommand();
    LeaveCommandThatWritesOn();
    WriteToCommand();
    TalkWithCommand();
    RunForOutput();
    RunOnThread(process);
  }

 private:
  static void ReadFromCommand() {
    LPipeIn pipe;
    Require(pipe._Open("printf 'one\\ntwo\\n'; exit 3"), "a command is started");
    std::array<char, 64> buffer;
    std::string all;
    while (const unsigned int size = pipe.Read(buffer.data(), 3)) all.append(buffer.data(), size);
    Require(all == "one\ntwo\n", "a command's output is read");
    Require(pipe.process == -1 && pipe.filedes == -1, "a command that has ended is reaped");
  }

  static void LeaveCommandThatWritesOn() {
    LPipeIn pipe;
    Require(pipe._Open("yes"), "a command without an end is started");
    std::array<char, 2> buffer;
    Require(pipe.Read(buffer.data(), 2) == 2 && buffer[0] == 'y', "a command without an end writes");
  }

  void WriteToCommand() const {
    LPipeOut pipe;
    Require(pipe._Open(("cat > '" + file_ + "'").c_str()), "a command that reads is started");
    const auto size = static_cast<unsigned int>(text_.size());
    Require(pipe.Write(text_.data(), size) == size, "a command reads");
    pipe.Close();
    Require(ReadFile(file_) == text_, "a command has read what was written");
    unlink(file_.c_str());
  }

  void TalkWithCommand() const {
    LPipeInOut pipe;
    Require(pipe._Open("cat"), "a command that answers is started");
    const auto size = static_cast<unsigned int>(text_.size());
    Require(pipe.Write(text_.data(), size) == size, "a command takes what it is told");
    pipe.CloseWrite();
    std::array<char, 512> buffer;
    std::string answer;
    while (const unsigned int read = pipe.Read(buffer.data(), buffer.size())) answer.append(buffer.data(), read);
    pipe.Close();
    Require(answer == text_, "a command answers what it was told");
  }

  static void RunForOutput() {
    LStringLong output;
    LRunCommandAndGetOutputAsString(output, "echo $((6 * 7))");
    Require(std::string(output.c_str()) == "42\n", "a command's output is its text");
    std::array<char, 260> path;
    LUnixExecutableGetAbsolutePath(path.data(), "sh");
    Require(path[0] == '/', "a program is found");
    Require(RunCommandLineProcess("exit 0") && !RunCommandLineProcess("exit 1"), "a command tells how it ended");
  }

  static void RunOnThread(LProcessInterface& process) {
    auto* const data = new ProcessRunData;
    data->command = "exit 7";
    CallThread thread([data](LProcessInterface&) { ProcessRunThreadCallback(data); });
    thread.Start(kPriority);
    const int waited = process.ProcessWaitSignal(data->done, kLongMs);
    const int result = data->result, exit_code = data->exitCode;
    data->release.Signal();
    thread.JoinThread();
    Require(waited == 0 && result == 0 && exit_code == 7, "a command on a thread tells how it ended");
  }

  const std::string file_, text_;
};

}  // namespace

std::unique_ptr<Task> MakeCommandTask(const std::string& folder) { return std::make_unique<CommandTask>(folder); }

}  // namespace soak

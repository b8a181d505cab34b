// The line server and its client, as their users run them.

#include <signal.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/sockets.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using testing::HasSubstr;

constexpr unsigned int kEndMs = 50000;

std::vector<std::string> Command(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), TILLVANE_TEST_LINE_SERVER);
  return arguments;
}

/// A server on a port that is free.
class LineServer : public testing::Test {
 protected:
  explicit LineServer(const std::string& timeout = "30000") : server_(Command({"--timeout", timeout})) {
    const std::string said = "listening on port ";
    support::RequireSocketCall(server_.WaitForOutput(said, kEndMs) && server_.WaitForOutput(";", kEndMs), "the server");
    port_ =
        static_cast<unsigned short>(std::atoi(server_.Output().c_str() + server_.Output().find(said) + said.size()));
  }

  ProcessResult Talk(std::vector<std::string> lines) const {
    lines.insert(lines.begin(), {"--connect", "127.0.0.1", "--port", std::to_string(port_)});
    return support::RunProcess(Command(lines), kEndMs);
  }
  LIPSocketTCP Connect() const { return support::ConnectBlocking({support::kLoopback, port_}); }

  ChildProcess server_;
  unsigned short port_;
};

TEST_F(LineServer, AnswersEveryLineOfEveryVisitor) {
  for (int visitor = 1; visitor <= 3; ++visitor) {
    const ProcessResult result = Talk({"one", "", "three and more"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "1 one\n2 \n3 three and more\n");
    EXPECT_EQ(result.errors, "");
    const std::string gone = "visitor " + std::to_string(visitor) + " has gone after 3 lines\n";
    EXPECT_TRUE(server_.WaitForOutput(gone, kEndMs));
  }
}

TEST_F(LineServer, TakesLinesInAnyPieces) {
  const LIPSocketTCP visitor = Connect();
  LProcessInterfaceVoid process;
  for (const char* piece : {"fir", "st\r", "\nsecond\nth", "ird\n", "quit\n"}) {
    ASSERT_EQ(ProcessSend(process, visitor, piece, std::string(piece).size(), kEndMs), 0u);
    support::SleepMs(5);
  }
  EXPECT_EQ(support::ReadAll(visitor), "1 first\r\n2 second\r\n3 third\r\n");
}

TEST_F(LineServer, LeavesAVisitorWhoNeverEndsALine) {
  const LIPSocketTCP visitor = Connect();
  LProcessInterfaceVoid process;
  const std::string endless(100000, 'x');
  ProcessSend(process, visitor, endless.data(), endless.size(), 0);
  EXPECT_EQ(support::ReadAll(visitor), "");
  EXPECT_EQ(Talk({"next"}).output, "1 next\n");
}

TEST_F(LineServer, ALongLineIsAnsweredWholeAndALongerOneIsNot) {
  const std::string line(1000, 'x');
  EXPECT_EQ(Talk({line}).output, "1 " + line + "\n");
  EXPECT_EQ(Talk({line + "x"}).exit_code, 1);
  EXPECT_EQ(Talk({line + line}).exit_code, 1);
}

TEST_F(LineServer, CtrlCEndsTheServerInTheMiddleOfAConversation) {
  const LIPSocketTCP visitor = Connect();
  ASSERT_TRUE(server_.WaitForOutput("visitor 1 has come", kEndMs));
  const support::Stopwatch watch;
  server_.Signal(SIGINT);
  ASSERT_TRUE(server_.WaitForEnd(kEndMs));
  EXPECT_LT(watch.Ms(), support::kSoonMs);
  EXPECT_EQ(server_.ExitCode(), 130);
  EXPECT_THAT(server_.Output(), testing::EndsWith("visitor 1 has gone after 0 lines\nstopped\n"));
  EXPECT_EQ(support::ReadAll(visitor), "");
}

TEST(LineClient, CtrlCEndsAClientThatWaitsForAnAnswer) {
  const support::LoopbackPort server;
  ChildProcess client(Command({"--connect", "localhost", "--port", std::to_string(server.Number()), "hello"}));
  const LIPSocketTCP visitor = server.Accept();
  char said[7];
  ASSERT_EQ(recv(visitor.Descriptor(), said, sizeof said, MSG_WAITALL), 7);
  EXPECT_EQ(std::string(said, sizeof said), "hello\r\n");
  EXPECT_FALSE(client.WaitForEnd(0));
  client.Signal(SIGINT);
  ASSERT_TRUE(client.WaitForEnd(kEndMs));
  EXPECT_EQ(client.ExitCode(), 130);
  EXPECT_EQ(client.Output() + client.Errors(), "");
}

TEST_F(LineServer, APortThatIsTakenIsTold) {
  ChildProcess second(Command({"--port", std::to_string(port_)}));
  EXPECT_TRUE(second.WaitForOutput("the port is taken; it is tried again every 30 seconds\n", kEndMs));
  second.Signal(SIGTERM);
  ASSERT_TRUE(second.WaitForEnd(kEndMs));
  EXPECT_EQ(second.ExitCode(), 130);
}

class HastyLineServer : public LineServer {
 protected:
  HastyLineServer() : LineServer("200") {}
};

TEST_F(HastyLineServer, LeavesAVisitorWhoSaysNothing) {
  const LIPSocketTCP visitor = Connect();
  EXPECT_EQ(support::ReadAll(visitor), "");
  EXPECT_TRUE(server_.WaitForOutput("visitor 1 has gone after 0 lines\n", kEndMs));
}

TEST(LineClient, WithoutAServerThereIsOneClearError) {
  const support::BoundPort nobody;
  const std::string port = std::to_string(nobody.Number());
  const ProcessResult refused =
      support::RunProcess(Command({"--connect", "127.0.0.1", "--port", port, "hello"}), kEndMs);
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.errors, "line-server: port " + port + " of 127.0.0.1 does not answer\n");
  const support::SilentPort silent;
  const ProcessResult no_answer = support::RunProcess(
      Command({"--connect", "127.0.0.1", "--port", std::to_string(silent.Number()), "--timeout", "300", "hello"}),
      kEndMs);
  EXPECT_EQ(no_answer.exit_code, 1);
  EXPECT_THAT(no_answer.errors, HasSubstr("does not answer\n"));
}

TEST(LineClient, AHostThatIsNoneIsOneClearError) {
  const ProcessResult result = support::RunProcess(Command({"--connect", "no host", "--port", "1", "hello"}), kEndMs);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.errors, "line-server: 'no host' is no host that is known here\n");
}

TEST(LineServerCommandLine, WrongUseIsRefused) {
  const std::vector<std::vector<std::string>> wrong = {{"--port"},
                                                       {"--port", "0"},
                                                       {"--port", "65536"},
                                                       {"--port", "80x"},
                                                       {"--timeout", "0"},
                                                       {"--timeout", ""},
                                                       {"--connect", ""},
                                                       {"hello"},
                                                       {"--verbose"},
                                                       {"--connect", "a"},
                                                       {"--connect", "a", "x"},
                                                       {"--connect", "a", "--port", "1"},
                                                       {"--connect", "a", "--port", "1", "two\nlines"}};
  for (const auto& arguments : wrong) {
    const ProcessResult result = support::RunProcess(Command(arguments), kEndMs);
    EXPECT_EQ(result.exit_code, 2) << arguments.back();
    EXPECT_THAT(result.errors, HasSubstr("line-server: ")) << arguments.back();
    EXPECT_EQ(result.output, "");
  }
}

TEST(LineServerCommandLine, HelpNamesTheFlags) {
  const ProcessResult result = support::RunProcess(Command({"--help"}), kEndMs);
  EXPECT_EQ(result.exit_code, 0);
  for (const char* flag : {"--port", "--connect", "--timeout"}) EXPECT_THAT(result.output, HasSubstr(flag));
}

}  // namespace

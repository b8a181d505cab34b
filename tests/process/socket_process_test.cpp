// Sockets and listeners with peers in other processes: an HTTP server and two clients that share no code with the
// library, and a relay that misbehaves in every way that a network does.

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/listeners.h>
#include <tests/support/sockets.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

using support::ChildProcess;
using support::Echo;
using support::FunctionListener;
using support::FunctionThread;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Stopwatch;
using testing::HasSubstr;

/// A peer that serves: the script, started with some words.
class Server {
 public:
  explicit Server(const std::vector<std::string>& words) : child_(Command(words)) {
    const std::string said = "listening ";
    support::RequireSocketCall(child_.WaitForOutput(said, kLongMs) && child_.WaitForOutput("\n", kLongMs), "the peer");
    port_ = static_cast<unsigned short>(std::atoi(child_.Output().c_str() + said.size()));
  }
  LIPAddressWithPort Address() const { return {support::kLoopback, port_}; }

  static std::vector<std::string> Command(std::vector<std::string> words) {
    words.insert(words.begin(), {TILLVANE_TEST_PYTHON, TILLVANE_TEST_PEER});
    return words;
  }

 private:
  ChildProcess child_;
  unsigned short port_;
};

/// What a peer that is no server says.
std::string RunPeer(const std::vector<std::string>& words) {
  const support::ProcessResult result = support::RunProcess(Server::Command(words), kLongMs);
  EXPECT_EQ(result.errors, "");
  return result.output;
}

std::string ReceiveLine(LIPSocketTCPRef socket) {
  LProcessInterfaceVoid process;
  std::string line;
  char part[10];
  unsigned long received;
  while (line.empty() || line.back() != '\n') {
    if (ProcessRecvToCharacter(process, socket, part, sizeof part, received, "\n", kLongMs) != 0) return line + "(end)";
    line.append(part, received);
  }
  return line;
}

TEST(SocketPeers, AnHTTPServerIsRead) {
  const Server server({"serve"});
  LProcessInterfaceVoid process;
  LIPSocketTCP socket;
  ASSERT_EQ(ProcessConnect(process, socket, server.Address(), kLongMs), 0u);
  const std::string request = "GET / HTTP/1.0\r\n\r\n";
  ASSERT_EQ(ProcessSend(process, socket, request.data(), request.size(), kLongMs), 0u);
  EXPECT_THAT(ReceiveLine(socket), HasSubstr(" 200 OK\r\n"));
  std::string line, headers;
  while ((line = ReceiveLine(socket)) != "\r\n" && line.find("(end)") == std::string::npos) headers += line;
  std::string body(1'000'000, '\0');
  unsigned long received;
  EXPECT_EQ(ProcessRecvAll(process, socket, body.data(), body.size(), received, kLongMs), 0u);
  EXPECT_THAT(headers, HasSubstr("Content-Length: " + std::to_string(received) + "\r\n"));
  EXPECT_THAT(body.substr(0, received), testing::StartsWith("0 of many lines\r\n1 of many"));
  EXPECT_THAT(body.substr(0, received), testing::EndsWith("\r\n4999 of many lines\r\n"));
}

TEST(SocketPeers, AnHTTPClientIsServed) {
  FunctionListener listener([](LTCPListener& self, LIPSocketTCP& socket) {
    while (ReceiveLine(socket).size() > 2) {
    }
    const std::string answer = "HTTP/1.0 200 OK\r\n\r\n" + std::string(300'000, 'x') + "that is all";
    EXPECT_EQ(ProcessSend(self, socket, answer.data(), answer.size(), kLongMs), 0u);
  });
  listener.StartListening();
  const std::string port = std::to_string(listener.Address().Port());
  EXPECT_EQ(RunPeer({"fetch", port}), "200 300011 xxxxxxxxxthat is all\n");
}

TEST(SocketPeers, AnEchoClientIsServed) {
  FunctionListener listener(Echo);
  listener.StartListening();
  EXPECT_EQ(RunPeer({"talk", std::to_string(listener.Address().Port())}), "same\n");
}

/// A connection to an echoing listener with a relay in between.
class SocketRelay : public testing::Test {
 protected:
  SocketRelay() { listener_.StartListening(); }

  void ConnectThrough(const char* manner) {
    relay_ =
        std::make_unique<Server>(std::vector<std::string>{"relay", manner, std::to_string(listener_.Address().Port())});
    ASSERT_EQ(ProcessConnect(process_, socket_, relay_->Address(), kLongMs), 0u);
  }
  void Send(const std::string& text) {
    ASSERT_EQ(ProcessSend(process_, socket_, text.data(), text.size(), kLongMs), 0u);
  }

  /// Runs an operation on a thread that is asked to stop in the middle of it. \return what it answers
  static unsigned int Stop(const std::function<unsigned int(LProcessInterface&)>& operation) {
    std::atomic<unsigned int> code{77};
    FunctionThread thread([&](LThread& self) { code = operation(self); });
    thread.Start(support::kOrdinaryPriority);
    support::SleepMs(50);
    EXPECT_EQ(code, 77u) << "it hangs";
    const Stopwatch watch;
    thread.StopThreadAndWait();
    EXPECT_LT(watch.Ms(), kAtOnceMs);
    return code;
  }

  FunctionListener listener_{Echo};
  std::unique_ptr<Server> relay_;
  LProcessInterfaceVoid process_;
  LIPSocketTCP socket_;
  char buffer_[100] = {};
  unsigned long received_ = 77;
};

TEST_F(SocketRelay, HonestOrSlowlyItPassesEverythingOn) {
  std::string text;
  for (int i = 0; i < 50; ++i) text += "line " + std::to_string(i) + "\n";
  for (const char* manner : {"honest", "drip"}) {
    SCOPED_TRACE(manner);
    ConnectThrough(manner);
    Send(text);
    std::string answer;
    for (int i = 0; i < 50; ++i) answer += ReceiveLine(socket_);
    EXPECT_EQ(answer, text);
    socket_.Close();
  }
}

TEST_F(SocketRelay, AnAnswerThatStallsIsTwoWithWhatHasCome) {
  ConnectThrough("stall");
  Send("What comes after the tenth byte is lost.");
  ASSERT_EQ(ProcessRecvBytes(process_, socket_, buffer_, 10, kLongMs), 0u);
  EXPECT_EQ(std::string(buffer_, 10), "What comes");
  const Stopwatch watch;
  EXPECT_EQ(ProcessRecvBytes(process_, socket_, buffer_, 30, received_, 300), 2u);
  EXPECT_GE(watch.Ms() + 1, 400);
  EXPECT_LT(watch.Ms(), kSoonMs);
  EXPECT_EQ(received_, 0u);
}

TEST_F(SocketRelay, AReceiveThatStallsIsStopped) {
  ConnectThrough("stall");
  Send("What comes after the tenth byte is lost.");
  ASSERT_TRUE(support::WaitUntil(
      [&] { return recv(socket_.Descriptor(), buffer_, sizeof buffer_, MSG_PEEK | MSG_DONTWAIT) == 10; }));
  EXPECT_EQ(Stop([&](LProcessInterface& process) {
              return ProcessRecvBytes(process, socket_, buffer_, 40, received_, kLongMs);
            }),
            1u);
  EXPECT_EQ(received_, 10u);
}

TEST_F(SocketRelay, AnAnswerThatEndsIsTwoWithWhatHasCome) {
  ConnectThrough("half-close");
  Send("What comes after the tenth byte is lost.");
  const Stopwatch watch;
  EXPECT_EQ(ProcessRecvBytes(process_, socket_, buffer_, 40, received_, kLongMs), 2u);
  EXPECT_EQ(std::string(buffer_, received_), "What comes");
  EXPECT_LT(watch.Ms(), kSoonMs);
  // The other direction is still there.
  Send("more");
  EXPECT_EQ(ProcessRecvAll(process_, socket_, buffer_, 40, received_, kLongMs), 0u);
  EXPECT_EQ(received_, 0u);
}

TEST_F(SocketRelay, AConnectionThatIsResetIsTwoInBothDirections) {
  ConnectThrough("reset");
  Send("What comes after the tenth byte is lost.");
  const Stopwatch watch;
  EXPECT_EQ(ProcessRecvBytes(process_, socket_, buffer_, 40, received_, kLongMs), 2u);
  EXPECT_LE(received_, 10u);
  EXPECT_TRUE(support::WaitUntil([&] { return ProcessSend(process_, socket_, "more", 4, 0) == 2; }));
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(SocketRelay, ABlackHoleIsTwoAndCanBeStopped) {
  ConnectThrough("mute");
  Send("Is anybody there?");
  EXPECT_EQ(ProcessRecvReady(process_, socket_, buffer_, sizeof buffer_, received_, 200), 2u);
  EXPECT_EQ(Stop([&](LProcessInterface& process) {
              return ProcessRecvToCharacter(process, socket_, buffer_, sizeof buffer_, received_, "\n", kLongMs);
            }),
            1u);
  Send("The connection is as it was.");
}

TEST_F(SocketRelay, APeerThatDoesNotReadIsTwoAndCanBeStopped) {
  ConnectThrough("deaf");
  const std::vector<char> much(20'000'000, 'x');
  EXPECT_EQ(ProcessSend(process_, socket_, much.data(), much.size(), 400), 2u);
  EXPECT_EQ(Stop([&](LProcessInterface& process) {
              return ProcessSend(process, socket_, much.data(), much.size(), kLongMs);
            }),
            1u);
}

TEST_F(SocketRelay, AConnectThatHangsIsTwoAndCanBeStopped) {
  const Server full({"relay", "full", "0"});
  EXPECT_EQ(ProcessConnect(process_, socket_, full.Address(), 200), 2u);
  EXPECT_EQ(socket_.Descriptor(), -1);
  EXPECT_EQ(Stop([&](LProcessInterface& process) { return ProcessConnect(process, socket_, full.Address(), kLongMs); }),
            1u);
  EXPECT_EQ(socket_.Descriptor(), -1);
}

TEST(SocketPeers, SeveralClientsAreServedOneAfterTheOther) {
  FunctionListener listener(Echo);
  listener.StartListening();
  const std::string port = std::to_string(listener.Address().Port());
  ChildProcess first(Server::Command({"talk", port})), second(Server::Command({"talk", port}));
  for (ChildProcess* child : {&first, &second}) {
    EXPECT_TRUE(child->WaitForEnd(kLongMs));
    EXPECT_EQ(child->Output(), "same\n") << child->Errors();
  }
  EXPECT_EQ(listener.served, 2);
}

}  // namespace

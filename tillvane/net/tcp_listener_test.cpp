#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/listeners.h>
#include <tests/support/sockets.h>
#include <tests/support/virtual_slots.h>
#include <tests/support/waiting.h>
#include <tillvane/diag/LDebugThread.h>
#include <tillvane/net/LProcessSocket.h>
#include <tillvane/net/LTCPListener.h>

namespace {

using support::Echo;
using support::FunctionListener;
using support::IsEchoed;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::LoopbackPort;
using support::SlotOf;
using support::Stopwatch;
using support::WaitUntil;

LIPSocketTCP ConnectTo(const LIPAddressWithPort& address) {
  LProcessInterfaceVoid process;
  LIPSocketTCP socket;
  EXPECT_EQ(ProcessConnect(process, socket, address, kLongMs), 0u);
  return socket;
}

/// Does the peer close the connection?
bool IsClosed(LIPSocketTCPRef socket) {
  LProcessInterfaceVoid process;
  unsigned char byte;
  const Stopwatch watch;
  return ProcessRecvByte(process, socket, byte, kLongMs) == 2 && watch.Ms() < kSoonMs;
}

void CloseAtOnce(LTCPListener&, LIPSocketTCP&) {}

TEST(TCPListenerLayout, TheVirtualFunctionsStandInTheirOrder) {
  EXPECT_EQ(SlotOf(&LTCPListener::IsToStop), 0);
  EXPECT_EQ(SlotOf(&LTCPListener::SetProgressIndeterminateOff), 8);
  // Between them the destructor's two.
  EXPECT_EQ(SlotOf(&LTCPListener::ThreadFunction), 11);
  EXPECT_EQ(SlotOf(&LTCPListener::ProcessConnection), 12);
  EXPECT_EQ(SlotOf(&LTCPListener::ListenerReserved), 13);
  EXPECT_EQ(SlotOf(&LTCPListener::BoundPort), -1);
}

TEST(TCPListener, ServesOneConnectionAfterTheOther) {
  FunctionListener listener(Echo);
  listener.StartListening();
  LIPSocketTCP first = ConnectTo(listener.Address());
  const LIPSocketTCP second = ConnectTo(listener.Address());
  EXPECT_TRUE(IsEchoed(first, 'a'));
  LProcessInterfaceVoid process;
  EXPECT_EQ(ProcessSend(process, second, "b", 1, kLongMs), 0u);
  EXPECT_EQ(ProcessWaitForDataOrClose(process, second, 0), 2u) << "the first one is still being served";
  EXPECT_EQ(listener.served, 1);
  first.Close();
  unsigned char byte = 0;
  EXPECT_EQ(ProcessRecvByte(process, second, byte, kLongMs), 0u);
  EXPECT_EQ(byte, 'b');
  EXPECT_EQ(listener.served, 2);
  EXPECT_EQ(listener.reserved, 0) << "nothing calls it";
}

TEST(TCPListener, ASocketIsNonBlockingAndClosedOnExec) {
  std::atomic<int> flags{0}, descriptor_flags{0};
  FunctionListener listener([&](LTCPListener&, LIPSocketTCP& socket) {
    flags = fcntl(socket.Descriptor(), F_GETFL);
    descriptor_flags = fcntl(socket.Descriptor(), F_GETFD);
  });
  listener.StartListening();
  EXPECT_TRUE(IsClosed(ConnectTo(listener.Address())));
  listener.StopThreadAndWait();
  EXPECT_NE(flags & O_NONBLOCK, 0);
  EXPECT_EQ(descriptor_flags, FD_CLOEXEC);
}

TEST(TCPListener, ItsThreadHasAName) {
  char line[260] = "";
  FunctionListener listener([&](LTCPListener&, LIPSocketTCP&) { LDebugGenerateXIString(line, "first", "third"); });
  listener.StartListening();
  EXPECT_TRUE(IsClosed(ConnectTo(listener.Address())));
  listener.StopThreadAndWait();
  EXPECT_NE(std::string(line).find("-third-LTCP"), std::string::npos) << line;
}

TEST(TCPListener, AServedConnectionIsClosed) {
  std::atomic<int> descriptor{-1};
  FunctionListener listener([&](LTCPListener&, LIPSocketTCP& socket) { descriptor = socket.Descriptor(); });
  listener.StartListening();
  EXPECT_TRUE(IsClosed(ConnectTo(listener.Address())));
  listener.StopThreadAndWait();
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST(TCPListener, ADescriptorThatTheHandlerTookStaysOpen) {
  std::atomic<int> taken{-1};
  FunctionListener listener([&](LTCPListener&, LIPSocketTCP& socket) { taken = socket.Release(); });
  listener.StartListening();
  const LIPSocketTCP ours = ConnectTo(listener.Address());
  ASSERT_TRUE(WaitUntil([&] { return taken != -1; }));
  listener.StopThreadAndWait();
  LProcessInterfaceVoid process;
  const LIPSocketTCP theirs(taken);
  EXPECT_EQ(ProcessSend(process, theirs, "x", 1, kLongMs), 0u);
  unsigned char byte = 0;
  EXPECT_EQ(ProcessRecvByte(process, ours, byte, kLongMs), 0u);
  EXPECT_EQ(byte, 'x');
}

TEST(TCPListener, TellsItsPortWhileItListens) {
  FunctionListener listener(CloseAtOnce);
  EXPECT_EQ(listener.BoundPort(), 0);
  listener.StartListening();
  EXPECT_NE(listener.Address().Port(), 0);
  listener.StopThreadAndWait();
  EXPECT_EQ(listener.BoundPort(), 0);
  EXPECT_EQ(listener.pauses, 1) << "a stop request ends the pause at once";
}

TEST(TCPListener, AHandlerMayEndTheThread) {
  FunctionListener listener([](LTCPListener&, LIPSocketTCP&) { pthread_exit(nullptr); });
  listener.StartListening();
  EXPECT_TRUE(IsClosed(ConnectTo(listener.Address())));
  listener.JoinThread();
  EXPECT_EQ(listener.BoundPort(), 0);
  EXPECT_EQ(listener.pauses, 0);
}

TEST(TCPListener, AStopRequestWakesTheWaitAtOnce) {
  FunctionListener listener(CloseAtOnce);
  for (int i = 0; i < 3; ++i) {
    listener.StartListening();
    listener.Address();
    const Stopwatch watch;
    listener.StopThreadAndWait();
    EXPECT_LT(watch.Ms(), kAtOnceMs);
  }
}

TEST(TCPListener, AStopRequestReachesTheHandler) {
  std::atomic<int> code{-1};
  FunctionListener listener([&](LTCPListener& self, LIPSocketTCP& socket) {
    unsigned char byte;
    code = static_cast<int>(ProcessRecvByte(self, socket, byte, kLongMs));
  });
  listener.StartListening();
  const LIPSocketTCP silent = ConnectTo(listener.Address());
  ASSERT_TRUE(WaitUntil([&] { return listener.served == 1; }));
  const Stopwatch watch;
  listener.StopThreadAndWait();
  EXPECT_LT(watch.Ms(), kSoonMs);
  EXPECT_EQ(code, 1);
}

TEST(TCPListener, AfterAStopRequestTheNextConnectionIsNotServed) {
  FunctionListener listener([](LTCPListener& self, LIPSocketTCP& socket) {
    LProcessInterfaceVoid until_the_byte_comes;
    unsigned char byte;
    ProcessRecvByte(until_the_byte_comes, socket, byte, kLongMs);
    self.StopThreadSoon();
  });
  listener.StartListening();
  const LIPSocketTCP first = ConnectTo(listener.Address());
  const LIPSocketTCP second = ConnectTo(listener.Address());
  LProcessInterfaceVoid process;
  EXPECT_EQ(ProcessSend(process, first, "x", 1, kLongMs), 0u);
  listener.JoinThread();
  EXPECT_EQ(listener.served, 1);
  EXPECT_TRUE(IsClosed(second));
}

TEST(TCPListener, AnEndedListenerCanBeStartedAgain) {
  FunctionListener listener(Echo);
  for (unsigned char i = 1; i <= 3; ++i) {
    listener.StartListening();
    EXPECT_TRUE(IsEchoed(ConnectTo(listener.Address()), i));
    listener.StopThreadAndWait();
  }
  EXPECT_EQ(listener.served, 3);
}

TEST(TCPListener, IsStoppedByItsEnd) {
  // No connection comes, so that it does not matter that its function goes before the thread.
  class Plain : public LTCPListener {
   public:
    Plain() : LTCPListener(0) {}
    void ProcessConnection(LIPSocketTCP&) override {}
    void ListenerReserved() override {}
  };
  const Stopwatch watch;
  {
    Plain listener;
    listener.Start(support::kOrdinaryPriority);
    EXPECT_TRUE(WaitUntil([&] { return listener.BoundPort() != 0; }));
  }
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST(TCPListener, APortThatIsTakenIsTriedAgainAfterHalfAMinute) {
  auto taken = std::make_unique<LoopbackPort>();
  const unsigned short port = taken->Number();
  FunctionListener listener(Echo, port);
  listener.pause_ms = 10;
  listener.StartListening();
  ASSERT_TRUE(WaitUntil([&] { return listener.pauses >= 3; }));
  EXPECT_EQ(listener.asked_pause_ms, 30000u);
  EXPECT_EQ(listener.BoundPort(), 0);
  taken.reset();
  EXPECT_EQ(listener.Address().Port(), port);
  EXPECT_TRUE(IsEchoed(ConnectTo(listener.Address()), 'x'));
}

TEST(TCPListener, AStopRequestEndsThePauseAtOnce) {
  const LoopbackPort taken;
  FunctionListener listener(CloseAtOnce, taken.Number());
  listener.StartListening();
  ASSERT_TRUE(WaitUntil([&] { return listener.pauses == 1; }));
  const Stopwatch watch;
  listener.StopThreadAndWait();
  EXPECT_LT(watch.Ms(), kAtOnceMs);
  EXPECT_EQ(listener.pauses, 1);
}

// The side that closes first keeps the port for a minute, but not from a listener.
TEST(TCPListener, APortIsFreeAgainAtOnceAfterItsConnections) {
  unsigned short port;
  {
    FunctionListener first(CloseAtOnce);
    first.StartListening();
    port = first.Address().Port();
    EXPECT_TRUE(IsClosed(ConnectTo(first.Address())));
  }
  FunctionListener second(Echo, port);
  second.StartListening();
  EXPECT_EQ(second.Address().Port(), port);
  EXPECT_EQ(second.pauses, 0);
}

TEST(TCPListener, DescriptorsBeyondThoseOfSelectWork) {
  const support::LowDescriptorsTaken taken;
  FunctionListener listener(Echo);
  listener.StartListening();
  EXPECT_TRUE(IsEchoed(ConnectTo(listener.Address()), 'x'));
  EXPECT_GT(listener.EndedSignal().filedes[0], 1023);
}

}  // namespace

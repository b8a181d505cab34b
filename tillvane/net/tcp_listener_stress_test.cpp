// Listeners against those who connect and stop them. Meant for ThreadSanitizer; long with TILLVANE_TEST_LONG set.

#include <sys/socket.h>

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/listeners.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/sockets.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

using support::Echo;
using support::FunctionListener;
using support::IsEchoed;
using support::kLongMs;
using support::Rounds;

/// A connection that leaves nothing behind when it is closed first by this side, so that no port is kept.
class Visitor {
 public:
  explicit Visitor(const LIPAddressWithPort& address) {
    LProcessInterfaceVoid process;
    is_connected_ = ProcessConnect(process, socket_, address, kLongMs) == 0;
    const linger at_once{1, 0};
    setsockopt(socket_.Descriptor(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  }
  bool IsConnected() const { return is_connected_; }
  const LIPSocketTCP& Socket() const { return socket_; }

 private:
  LIPSocketTCP socket_;
  bool is_connected_;
};

TEST(TCPListenerStress, TenThousandConnectionsLeaveNoDescriptor) {
  constexpr int count = 10000;
  FunctionListener listener(Echo);
  listener.StartListening();
  const LIPAddressWithPort address = listener.Address();
  const support::OpenDescriptors before = support::ListOpenDescriptors();
  for (int i = 0; i < count; ++i) {
    const Visitor visitor(address);
    ASSERT_TRUE(visitor.IsConnected()) << i;
    ASSERT_TRUE(IsEchoed(visitor.Socket(), static_cast<unsigned char>(i))) << i;
  }
  EXPECT_TRUE(support::WaitUntil([&] {
    return support::DescribeChanges(before, support::ListOpenDescriptors()).empty();
  })) << support::DescribeChanges(before, support::ListOpenDescriptors());
  EXPECT_EQ(listener.served, count);
}

TEST(TCPListenerStress, StopRequestsMeetConnections) {
  FunctionListener listener(Echo);
  std::atomic<bool> over{false};
  std::atomic<int> echoed{0};
  std::vector<std::thread> visitors;
  for (int i = 0; i < 3; ++i) {
    visitors.emplace_back([&] {
      LProcessInterfaceVoid process;
      while (!over) {
        const unsigned short port = listener.BoundPort();
        if (port == 0) {
          std::this_thread::yield();
          continue;
        }
        const Visitor visitor({support::kLoopback, port});
        unsigned char byte = 'x';
        if (ProcessSend(process, visitor.Socket(), &byte, 1, 0) == 0 &&
            ProcessRecvByte(process, visitor.Socket(), byte, 0) == 0) {
          ++echoed;
        }
      }
    });
  }
  for (int i = 0; i < Rounds(100); ++i) {
    listener.StartListening();
    const int so_far = echoed;
    support::WaitUntil([&] { return echoed > so_far; });
    listener.StopThreadAndWait();
    EXPECT_EQ(listener.BoundPort(), 0);
  }
  over = true;
  for (std::thread& visitor : visitors) visitor.join();
  EXPECT_GE(echoed, Rounds(100));
}

// One thread sends on a socket while another one receives on it.
TEST(SocketStress, BothDirectionsAtOnce) {
  constexpr int pieces = 3000;
  const support::Connection connection;
  const auto send_all = [](const LIPSocketTCP& socket) {
    LProcessInterfaceVoid process;
    const std::vector<unsigned char> piece(1000, 'x');
    for (int i = 0; i < pieces; ++i) {
      if (ProcessSend(process, socket, piece.data(), piece.size(), kLongMs) != 0) return;
    }
  };
  const auto receive_all = [](const LIPSocketTCP& socket) {
    LProcessInterfaceVoid process;
    std::vector<unsigned char> all(pieces * 1000);
    EXPECT_EQ(ProcessRecvBytes(process, socket, all.data(), all.size(), kLongMs), 0u);
  };
  std::thread a([&] { send_all(connection.ours); }), b([&] { send_all(connection.peer); });
  std::thread c([&] { receive_all(connection.peer); });
  receive_all(connection.ours);
  for (std::thread* thread : {&a, &b, &c}) thread->join();
}

}  // namespace

#include <fcntl.h>
#include <unistd.h>

#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <tillvane/net/LIPSocket.h>

namespace {

int OpenOne() { return open("/dev/null", O_RDWR | O_CLOEXEC); }
bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

static_assert(!std::is_copy_constructible_v<LIPSocketTCP> && !std::is_copy_assignable_v<LIPSocketTCP>);
static_assert(std::is_trivially_copyable_v<LIPSocketTCPRef>);

TEST(IPSocket, HoldsNothingAtFirst) { EXPECT_EQ(LIPSocketTCP().Descriptor(), -1); }

TEST(IPSocket, ClosesWhatItHoldsAtItsEnd) {
  const int descriptor = OpenOne();
  {
    const LIPSocketTCP socket(descriptor);
    EXPECT_EQ(socket.Descriptor(), descriptor);
    EXPECT_TRUE(IsOpen(descriptor));
  }
  EXPECT_FALSE(IsOpen(descriptor));
}

TEST(IPSocket, ClosesOnce) {
  LIPSocketTCP socket(OpenOne());
  const int descriptor = socket.Descriptor();
  socket.Close();
  EXPECT_EQ(socket.Descriptor(), -1);
  EXPECT_FALSE(IsOpen(descriptor));
  const LIPSocketTCP next(OpenOne());
  ASSERT_EQ(next.Descriptor(), descriptor) << "the system gives the lowest number";
  socket.Close();
  EXPECT_TRUE(IsOpen(descriptor));
}

TEST(IPSocket, GivesItsDescriptorAway) {
  int descriptor;
  {
    LIPSocketTCP socket(OpenOne());
    descriptor = socket.Release();
    EXPECT_EQ(socket.Descriptor(), -1);
    EXPECT_EQ(socket.Release(), -1);
  }
  EXPECT_TRUE(IsOpen(descriptor));
  close(descriptor);
}

TEST(IPSocket, MovesItsDescriptor) {
  LIPSocketTCP first(OpenOne());
  const int descriptor = first.Descriptor();
  LIPSocketTCP second(std::move(first));
  EXPECT_EQ(first.Descriptor(), -1);  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  EXPECT_EQ(second.Descriptor(), descriptor);
  LIPSocketTCP third(OpenOne());
  const int replaced = third.Descriptor();
  third = std::move(second);
  EXPECT_FALSE(IsOpen(replaced));
  EXPECT_EQ(third.Descriptor(), descriptor);
  LIPSocketTCP& same = third;
  third = std::move(same);
  EXPECT_EQ(third.Descriptor(), descriptor);
  EXPECT_TRUE(IsOpen(descriptor));
}

TEST(IPSocketRef, OwnsNothing) {
  const LIPSocketTCP socket(OpenOne());
  {
    const LIPSocketTCPRef reference = socket;
    EXPECT_EQ(reference.Descriptor(), socket.Descriptor());
    EXPECT_EQ(LIPSocketTCPRef(7).Descriptor(), 7);
  }
  EXPECT_TRUE(IsOpen(socket.Descriptor()));
}

}  // namespace

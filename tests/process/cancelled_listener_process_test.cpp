// A listener whose thread is cancelled. Apart from its other tests: ThreadSanitizer does not see what a thread locks
// that is cancelled in a wait.

#include <pthread.h>

#include <gtest/gtest.h>

#include <tests/support/listeners.h>
#include <tests/support/sockets.h>
#include <tillvane/net/LTCPListener.h>

namespace {

// The listener closes the connection itself, and is cancelled where it waits next.
TEST(CancelledListener, HasClosedItsConnection) {
  support::FunctionListener listener([](LTCPListener&, LIPSocketTCP&) { pthread_cancel(pthread_self()); });
  listener.StartListening();
  EXPECT_EQ(support::ReadAll(support::ConnectBlocking(listener.Address())), "");
  listener.JoinThread();
  EXPECT_EQ(listener.BoundPort(), 0);
  EXPECT_EQ(listener.served, 1);
}

}  // namespace

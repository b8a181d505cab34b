#include <arpa/inet.h>

#include <array>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/net/LIPAddress.h>

namespace {

TEST(IPAddress, HasTheBytesOfTheSystemsOwn) {
  const LIPAddressWithPort address(inet_addr("192.0.2.77"), 0x1F90);
  std::array<unsigned char, 16> bytes;
  static_assert(sizeof address == sizeof bytes);
  std::memcpy(bytes.data(), &address, sizeof bytes);
  sockaddr_in same = {};
  std::memcpy(&same, &address, sizeof same);
  EXPECT_EQ(same.sin_family, AF_INET);
  const std::array<unsigned char, 14> rest = {0x1F, 0x90, 192, 0, 2, 77, 0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(std::memcmp(bytes.data() + 2, rest.data(), rest.size()), 0);
}

TEST(IPAddress, TellsItsParts) {
  const LIPAddressWithPort address(inet_addr("192.0.2.77"), 65535);
  EXPECT_EQ(address.Address(), inet_addr("192.0.2.77"));
  EXPECT_EQ(address.Port(), 65535);
  EXPECT_TRUE(address.IsResolved());
}

TEST(IPAddress, AllBitsSetIsAnUnresolvedOne) {
  EXPECT_FALSE(LIPAddressWithPort(0xFFFFFFFF, 80).IsResolved());
  EXPECT_TRUE(LIPAddressWithPort(0xFFFFFFFE, 80).IsResolved());
  EXPECT_TRUE(LIPAddressWithPort(0, 80).IsResolved());
}

TEST(IPAddress, IsFormattedWithItsFirstByteFirst) {
  for (const char* text : {"0.0.0.0", "127.0.0.1", "1.2.3.4", "192.0.2.200", "255.255.255.255"}) {
    support::GuardedText buffer(16);
    LIPAddressWithPort(inet_addr(text), 80).FormatAddress(buffer.Get(), 16);
    EXPECT_EQ(buffer.Text(), text);
  }
}

TEST(IPAddress, IsCutWhereTheRoomEnds) {
  const LIPAddressWithPort address(inet_addr("192.0.2.77"), 80);
  const std::string text = "192.0.2.77";
  for (unsigned long capacity = 0; capacity <= text.size() + 1; ++capacity) {
    support::GuardedText buffer(capacity);
    address.FormatAddress(buffer.Get(), capacity);
    EXPECT_EQ(buffer.Text(), capacity == 0 ? "" : text.substr(0, capacity - 1)) << capacity;
  }
}

TEST(IPAddressMultiHomed, KeepsItsOwnCopy) {
  std::array<unsigned int, 3> given = {inet_addr("192.0.2.1"), 0xFFFFFFFF, inet_addr("192.0.2.3")};
  const LIPAddressMultiHomedWithPort addresses(8080, 3, given.data());
  const std::array<unsigned int, 3> expected = given;
  given.fill(0);
  ASSERT_EQ(addresses.Count(), 3u);
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_EQ(addresses.At(i).Address(), expected[i]) << i;
    EXPECT_EQ(addresses.At(i).Port(), 8080) << i;
  }
}

TEST(IPAddressMultiHomed, MayHaveNone) {
  const unsigned int unused = 0;
  EXPECT_EQ(LIPAddressMultiHomedWithPort(80, 0, &unused).Count(), 0u);
  EXPECT_EQ(LIPAddressMultiHomedWithPort(80, 0, nullptr).Count(), 0u);
  EXPECT_EQ(LIPAddressMultiHomedWithPort(80, 5, nullptr).Count(), 0u);
}

}  // namespace

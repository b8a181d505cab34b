#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include <tillvane/net/LIPAddress.h>
#include <tillvane/platform/stream_socket.h>

// The order and the widths of the fields are part of the binary interface.
struct LIPAddressLayout {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
  static_assert(sizeof(LIPAddressWithPort) == 16 && sizeof(sockaddr_in) == 16);
  static_assert(offsetof(LIPAddressMultiHomedWithPort, port_) == 0);
  static_assert(offsetof(LIPAddressMultiHomedWithPort, count_) == 4);
  static_assert(offsetof(LIPAddressMultiHomedWithPort, addresses_) == 8);
  static_assert(sizeof(LIPAddressMultiHomedWithPort::addresses_) == sizeof(void*));
#pragma GCC diagnostic pop
};

LIPAddressWithPort::LIPAddressWithPort(unsigned int network_order, unsigned short host_order_port)
    : address_(platform::SocketAddress(network_order, htons(host_order_port))) {}

unsigned short LIPAddressWithPort::Port() const { return ntohs(address_.sin_port); }

void LIPAddressWithPort::FormatAddress(char* text, unsigned long capacity) const {
  std::array<unsigned char, 4> bytes;
  std::memcpy(bytes.data(), &address_.sin_addr, bytes.size());
  std::snprintf(text, capacity, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
}

LIPAddressMultiHomedWithPort::LIPAddressMultiHomedWithPort(unsigned short port, unsigned int count,
                                                           const unsigned int* network_order)
    : port_(port), count_(network_order == nullptr ? 0 : count), addresses_(std::make_unique<unsigned int[]>(count_)) {
  std::copy_n(network_order, count_, addresses_.get());
}

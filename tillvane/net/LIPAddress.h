#pragma once

#include <netinet/in.h>

#include <memory>

#include <tillvane/export.h>

/// An IPv4 address and a port. It has the bytes of the system's `sockaddr_in` and nothing else.
class TILLVANE_API LIPAddressWithPort {
 public:
  /// The address that stands for one that could not be resolved; nothing connects to it.
  static constexpr unsigned int kUnresolved = 0xFFFFFFFF;

  /// \param network_order the address as `inet_addr` gives it: its first byte is the first in memory
  /// \param host_order_port the port as a plain number
  LIPAddressWithPort(unsigned int network_order, unsigned short host_order_port);

  /// In network order.
  unsigned int Address() const { return address_.sin_addr.s_addr; }
  /// As a plain number.
  unsigned short Port() const;
  bool IsResolved() const { return Address() != kUnresolved; }

  /// The address without its port as text, "127.0.0.1".
  /// \param text at least `capacity` bytes; 16 hold every address, fewer cut it. With 0 nothing is written.
  void FormatAddress(char* text, unsigned long capacity) const;

  /// For the system's own calls.
  const sockaddr_in& SocketAddress() const { return address_; }

 private:
  sockaddr_in address_;
};

/// One port at several IPv4 addresses of the same host, to be tried in order.
class TILLVANE_API LIPAddressMultiHomedWithPort {
 public:
  /// Copies the addresses.
  /// \param network_order so many addresses as `inet_addr` gives them; null for none
  LIPAddressMultiHomedWithPort(unsigned short port, unsigned int count, const unsigned int* network_order);
  LIPAddressMultiHomedWithPort(const LIPAddressMultiHomedWithPort&) = delete;
  LIPAddressMultiHomedWithPort& operator=(const LIPAddressMultiHomedWithPort&) = delete;

  unsigned int Count() const { return count_; }
  /// \param index below Count()
  LIPAddressWithPort At(unsigned int index) const { return {addresses_[index], port_}; }

 private:
  friend struct LIPAddressLayout;

  unsigned short port_;
  unsigned int count_;
  std::unique_ptr<unsigned int[]> addresses_;
};

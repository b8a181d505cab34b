#pragma once

#include <netinet/in.h>

#include <memory>

#include <tillvane/export.h>

/// \file
/// IPv4 addresses with a port.

/// An IPv4 address and a port. It has the bytes of the system's `sockaddr_in` and nothing else. Not synchronised.
class TILLVANE_API LIPAddressWithPort {
 public:
  /// The address that stands for one that could not be resolved; nothing connects to it.
  static constexpr unsigned int kUnresolved = 0xFFFFFFFF;

  /// An address and a port, neither of which is looked at.
  /// \param network_order the address as `inet_addr` gives it: its first byte is the first in memory
  /// \param host_order_port the port as a plain number
  LIPAddressWithPort(unsigned int network_order, unsigned short host_order_port);

  /// The address in network order.
  unsigned int Address() const { return address_.sin_addr.s_addr; }
  /// The port as a plain number.
  unsigned short Port() const;
  /// Is it an address, and not kUnresolved?
  bool IsResolved() const { return Address() != kUnresolved; }

  /// The address without its port as text, "127.0.0.1".
  /// \param text receives the address and a terminator
  /// \param capacity bytes that `text` can hold: 16 hold every address, fewer cut it; with 0 nothing is written
  void FormatAddress(char* text, unsigned long capacity) const;

  /// The address for the system's own calls. Valid as long as this.
  const sockaddr_in& SocketAddress() const { return address_; }

 private:
  sockaddr_in address_;
};

/// One port at several IPv4 addresses of the same host, to be tried in order. It does not change, so that any thread
/// may ask it.
class TILLVANE_API LIPAddressMultiHomedWithPort {
 public:
  /// Copies the addresses. Without memory std::bad_alloc leaves.
  /// \param port as a plain number
  /// \param count how many addresses there are
  /// \param network_order so many addresses as `inet_addr` gives them; null for none, whatever `count` says
  LIPAddressMultiHomedWithPort(unsigned short port, unsigned int count, const unsigned int* network_order);
  LIPAddressMultiHomedWithPort(const LIPAddressMultiHomedWithPort&) = delete;
  LIPAddressMultiHomedWithPort& operator=(const LIPAddressMultiHomedWithPort&) = delete;

  /// How many addresses there are.
  unsigned int Count() const { return count_; }
  /// One of the addresses, with the port.
  /// \param index below Count()
  LIPAddressWithPort At(unsigned int index) const { return {addresses_[index], port_}; }

 private:
  friend struct LIPAddressLayout;

  unsigned short port_;
  unsigned int count_;
  std::unique_ptr<unsigned int[]> addresses_;
};

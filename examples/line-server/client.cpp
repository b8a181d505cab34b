#include "client.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "line_io.h"

namespace line_server {

namespace {

/// The IPv4 addresses of a host, in the order in which the system recommends them.
std::vector<unsigned int> AddressesOf(const std::string& host) {
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  std::vector<unsigned int> addresses;
  if (getaddrinfo(host.c_str(), nullptr, &wanted, &found) != 0) return addresses;
  for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
    sockaddr_in address;
    std::memcpy(&address, one->ai_addr, sizeof address);
    addresses.push_back(address.sin_addr.s_addr);
  }
  freeaddrinfo(found);
  return addresses;
}

unsigned int Talk(LProcessInterface& process, LIPSocketTCPRef socket, const Options& options) {
  for (const std::string& line : options.lines) {
    if (const unsigned int code = SendLine(process, socket, line, options.timeout)) return code;
    std::string answer;
    if (const unsigned int code = ReceiveLine(process, socket, &answer, kLongestAnswer, options.timeout)) return code;
    std::puts(answer.c_str());
  }
  return SendLine(process, socket, "quit", options.timeout);
}

}  // namespace

unsigned int TalkToServer(LProcessInterface& process, const Options& options) {
  const std::vector<unsigned int> addresses = AddressesOf(options.host);
  if (process.IsToStop()) return kStopped;
  if (addresses.empty()) {
    std::fprintf(stderr, "line-server: '%s' is no host that is known here\n", options.host.c_str());
    return kFailed;
  }
  const LIPAddressMultiHomedWithPort server(options.port, static_cast<unsigned int>(addresses.size()),
                                            addresses.data());
  LIPSocketTCP socket;
  unsigned int code = ProcessConnect(process, socket, server, options.timeout);
  // A connection that was refused shows here.
  if (code == kDone) code = Talk(process, socket, options);
  // Ctrl-C interrupts a wait of this thread, which then fails before it could ask.
  if (code == kFailed && process.IsToStop()) code = kStopped;
  if (code == kFailed) {
    std::fprintf(stderr, "line-server: port %u of %s does not answer\n", options.port, options.host.c_str());
  }
  return code;
}

}  // namespace line_server

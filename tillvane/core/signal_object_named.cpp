#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include <tillvane/core/LSignalObjectNamed.h>
#include <tillvane/core/cancellation.h>
#include <tillvane/core/poll_for.h>
#include <tillvane/files/LFile.h>
#include <tillvane/platform/known_folders.h>
#include <tillvane/platform/stream_socket.h>

struct LSignalObjectNamedLayout {
  static_assert(offsetof(LSignalObjectNamed, address_) == 0);
  // Behind an address of no even number of words comes the next place for an int.
  static_assert(offsetof(LSignalObjectNamed, connection_) == (sizeof(sockaddr_un) + 3) / 4 * 4);
};

namespace {

constexpr int kBacklog = 5;

void Close(int descriptor) {
  const core::CancellationPutOff put_off;
  if (descriptor >= 0) close(descriptor);
}

/// A socket that is closed when it is left, also by a thread that is cancelled.
class Socket {
 public:
  explicit Socket(int descriptor) : descriptor_(descriptor) {}
  ~Socket() { Close(descriptor_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  int Get() const { return descriptor_; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

/// An empty path is an address too on some systems, in a name space that has no owner.
bool HasPath(const sockaddr_un& address) { return address.sun_path[0] != '\0'; }

}  // namespace

LSignalObjectNamed::LSignalObjectNamed(const char* name) : address_() {
  address_.sun_family = AF_UNIX;
  char path[260];
  LFile::GetUserDataFolder(path);
  LFile::_MakeFilePath(path, path, name, "");
  // What is cut at 259 is too long as well.
  const std::size_t length = std::strlen(path);
  if (length < sizeof address_.sun_path) std::memcpy(address_.sun_path, path, length);
}

LSignalObjectNamed::~LSignalObjectNamed() {
  const core::CancellationPutOff put_off;
  Close(client_);
  if (connection_ < 0) return;
  close(connection_);
  unlink(address_.sun_path);
}

bool LSignalObjectNamed::WaitSignal(unsigned int ms) {
  if (!HasPath(address_)) {
    errno = ENAMETOOLONG;
    return false;
  }
  // The getter of the user's data folder makes nothing.
  platform::ApplicationSupportFolder();
  const Socket listening(platform::OpenLocalSocket());
  if (listening.Get() < 0 || platform::BindLocalSocket(listening.Get(), address_) != 0 ||
      listen(listening.Get(), kBacklog) != 0) {
    return false;
  }
  pollfd polled{listening.Get(), POLLIN, 0};
  if (core::PollReadable(&polled, 1, ms) < 0) return false;
  // Also when the time has passed: it then waits here, for ever.
  Close(std::exchange(connection_, platform::AcceptStream(listening.Get())));
  return connection_ >= 0;
}

void LSignalObjectNamed::Signal() {
  Close(client_.exchange(-1));
  if (!HasPath(address_)) return;
  Socket client(platform::OpenLocalSocket());
  if (client.Get() < 0) return;
  if (connect(client.Get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_) != 0) return;
  const unsigned char one = 1;
  [[maybe_unused]] const ssize_t sent = send(client.Get(), &one, 1, platform::NoSignalSendFlag());
  // Two threads that signal at once leave one of the two open.
  Close(client_.exchange(client.Release()));
}

void LSignalObjectNamed::Reset() {
  if (connection_ < 0) return;
  unsigned char byte;
  ssize_t got;
  do got = read(connection_, &byte, 1);
  while (got > 0 || (got < 0 && errno == EINTR));
}

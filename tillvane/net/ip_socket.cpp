#include <unistd.h>

#include <utility>

#include <tillvane/core/cancellation.h>
#include <tillvane/net/LIPSocket.h>

static_assert(sizeof(LIPSocketTCP) == sizeof(int) && sizeof(LIPSocketTCPRef) == sizeof(int));

LIPSocketTCP& LIPSocketTCP::operator=(LIPSocketTCP&& other) noexcept {
  if (this == &other) return *this;
  Close();
  descriptor_ = other.Release();
  return *this;
}

int LIPSocketTCP::Release() noexcept { return std::exchange(descriptor_, -1); }

void LIPSocketTCP::Close() noexcept {
  const int descriptor = Release();
  if (descriptor < 0) return;
  const core::CancellationPutOff put_off;
  close(descriptor);
}

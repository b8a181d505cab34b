#include <tillvane/core/sleep_for.h>

#include <cerrno>
#include <ctime>

namespace core {

void SleepFor(unsigned int ms) {
  timespec left{};
  left.tv_sec = static_cast<time_t>(ms / 1000);
  left.tv_nsec = static_cast<long>(ms % 1000) * 1000000;
  while (nanosleep(&left, &left) < 0 && errno == EINTR) {
  }
}

}  // namespace core

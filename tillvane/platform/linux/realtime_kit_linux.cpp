#include <tillvane/platform/linux/realtime_kit_linux.h>

#include <gio/gio.h>
#include <sys/resource.h>

#include <algorithm>
#include <mutex>
#include <optional>

#include <tillvane/platform/linux/message_bus_linux.h>

namespace platform {

namespace {

constexpr const char* kRealtimeKit = "org.freedesktop.RealtimeKit1";
constexpr const char* kRealtimeKitPath = "/org/freedesktop/RealtimeKit1";

/// \return nothing when the service does not answer with a number
std::optional<gint64> ReadNumber(MessageBus& bus, const char* property) {
  const Owned<GVariant> reply = bus.Call(kRealtimeKit, kRealtimeKitPath, "org.freedesktop.DBus.Properties", "Get",
                                         g_variant_new("(ss)", kRealtimeKit, property), "(v)");
  if (!reply) return std::nullopt;
  GVariant* inner = nullptr;
  g_variant_get(reply.get(), "(v)", &inner);
  const Owned<GVariant> value(inner);
  if (g_variant_is_of_type(inner, G_VARIANT_TYPE_INT64) != FALSE) return g_variant_get_int64(inner);
  if (g_variant_is_of_type(inner, G_VARIANT_TYPE_INT32) != FALSE) return g_variant_get_int32(inner);
  return std::nullopt;
}

/// Lowers the process's limit for real-time threads, and puts it back at the end unless it is to be kept. Requests of
/// several threads may overlap: what the first of them found is put back by the last, and only if all were refused.
class LoweredLimit {
 public:
  explicit LoweredLimit(gint64 longest) {
    const std::lock_guard lock(mutex_);
    if (users_++ == 0) {
      kept_ = false;
      getrlimit(RLIMIT_RTTIME, &before_);
    }
    const auto most = static_cast<rlim_t>(longest);
    rlimit limit{};
    getrlimit(RLIMIT_RTTIME, &limit);
    limit = {std::min(limit.rlim_cur, most), std::min(limit.rlim_max, most)};
    setrlimit(RLIMIT_RTTIME, &limit);
  }
  ~LoweredLimit() {
    const std::lock_guard lock(mutex_);
    if (--users_ == 0 && !kept_) setrlimit(RLIMIT_RTTIME, &before_);
  }
  LoweredLimit(const LoweredLimit&) = delete;
  LoweredLimit& operator=(const LoweredLimit&) = delete;

  static void Keep() {
    const std::lock_guard lock(mutex_);
    kept_ = true;
  }

 private:
  static inline constinit std::mutex mutex_;
  static inline int users_ = 0;
  static inline bool kept_ = false;
  static inline rlimit before_{};
};

bool Ask(MessageBus& bus, unsigned int id, int priority) {
  const std::optional<gint64> longest = ReadNumber(bus, "RTTimeUSecMax");
  const std::optional<gint64> highest = ReadNumber(bus, "MaxRealtimePriority");
  // Without any time to run, the kernel would end the process at once.
  if (longest.value_or(0) <= 0 || highest.value_or(0) < priority) return false;
  const LoweredLimit limit(*longest);
  GVariant* const arguments = g_variant_new("(tu)", guint64{id}, static_cast<guint32>(priority));
  if (!bus.Call(kRealtimeKit, kRealtimeKitPath, kRealtimeKit, "MakeThreadRealtime", arguments, "()")) return false;
  LoweredLimit::Keep();
  return true;
}

}  // namespace

bool AskRealtimeKit(unsigned int id, int priority) {
  return AskMessageBus(&SystemBusAddress, kRealtimeKitMs, [=](MessageBus& bus) { return Ask(bus, id, priority); });
}

}  // namespace platform

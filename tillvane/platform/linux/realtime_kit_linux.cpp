#include <tillvane/platform/linux/realtime_kit_linux.h>

#include <gio/gio.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <tillvane/platform/linux/never_destroyed_linux.h>

namespace platform {

namespace {

/// What is left of the time when the work is called off: enough for everything that was begun to end.
constexpr unsigned int kEndMs = 100;

constexpr const char* kRealtimeKit = "org.freedesktop.RealtimeKit1";
constexpr const char* kRealtimeKitPath = "/org/freedesktop/RealtimeKit1";

struct Releaser {
  void operator()(gpointer object) const { g_object_unref(object); }
  void operator()(GVariant* value) const { g_variant_unref(value); }
  void operator()(gchar* text) const { g_free(text); }
};
template <class T>
using Owned = std::unique_ptr<T, Releaser>;

/// A main context for one request, the calling thread's own default until Leave(), so that nothing of the host's is
/// turned by it; and the time that the request may take. At the end of that time everything under way is cancelled.
class PrivateLoop {
 public:
  PrivateLoop() : context_(g_main_context_new()), cancellable_(g_cancellable_new()) {
    g_main_context_push_thread_default(context_);
    AddTimer(kRealtimeKitMs - kEndMs, &PrivateLoop::OnTimeOver);
    AddTimer(kRealtimeKitMs, &PrivateLoop::OnGivenUp);
  }
  ~PrivateLoop() { g_main_context_unref(context_); }
  PrivateLoop(const PrivateLoop&) = delete;
  PrivateLoop& operator=(const PrivateLoop&) = delete;

  GCancellable* Cancellable() const { return cancellable_.get(); }

  /// For asynchronous calls, with this object as their data, one at a time.
  static void OnAnswer(GObject*, GAsyncResult* answer, gpointer data) {
    auto& self = *static_cast<PrivateLoop*>(data);
    self.answer_.reset(G_ASYNC_RESULT(g_object_ref(answer)));
    --self.calls_;
  }

  /// Waits for the answer. A call that is cancelled answers too, as soon as GLib's threads come to it.
  /// \return null when they do not in time
  Owned<GAsyncResult> Wait() {
    ++calls_;
    while (calls_ > 0 && !given_up_) g_main_context_iteration(context_, TRUE);
    return std::move(answer_);
  }

  /// A connection says its end by a signal, which may come after everything else: until then it holds the context.
  void Watch(GDBusConnection* connection) {
    g_signal_connect(connection, "closed", G_CALLBACK(&PrivateLoop::OnClosed), this);
    connected_ = g_dbus_connection_is_closed(connection) == FALSE;
  }
  void WaitForClosed() {
    while (connected_ && !given_up_) g_main_context_iteration(context_, TRUE);
  }

  /// Turns what is ready. \return whether everything has come back
  bool Settle() {
    while (g_main_context_iteration(context_, FALSE) != FALSE) {
    }
    return calls_ == 0 && !connected_;
  }

  /// Gives the calling thread its old default context back. \return whether everything has come back
  bool Leave() {
    const bool settled = Settle();
    g_main_context_pop_thread_default(context_);
    return settled;
  }

 private:
  void AddTimer(unsigned int ms, GSourceFunc function) {
    GSource* timer = g_timeout_source_new(ms);
    g_source_set_priority(timer, G_PRIORITY_HIGH);
    g_source_set_callback(timer, function, this, nullptr);
    g_source_attach(timer, context_);
    g_source_unref(timer);
  }

  static gboolean OnTimeOver(gpointer data) {
    g_cancellable_cancel(static_cast<PrivateLoop*>(data)->Cancellable());
    return G_SOURCE_REMOVE;
  }

  static gboolean OnGivenUp(gpointer data) {
    static_cast<PrivateLoop*>(data)->given_up_ = true;
    return G_SOURCE_REMOVE;
  }

  static void OnClosed(GDBusConnection*, gboolean, GError*, gpointer data) {
    static_cast<PrivateLoop*>(data)->connected_ = false;
  }

  GMainContext* context_;
  Owned<GCancellable> cancellable_;
  Owned<GAsyncResult> answer_;
  int calls_ = 0;  // under way: more than one only once it is given up
  bool connected_ = false;
  bool given_up_ = false;
};

/// Loops whose calls had not come back when the time was over: GLib's threads are busy with the host's work, or are not
/// there, in a process that was forked. A call and its context hold each other until the context is turned again, which
/// happens at the next request.
class Stragglers {
 public:
  /// \return false while there are too many: then GLib's threads do not answer at all
  static bool Settle() {
    const std::lock_guard lock(Get().mutex_);
    auto& loops = Get().loops_;
    loops.erase(std::remove_if(loops.begin(), loops.end(), [](const auto& loop) { return loop->Settle(); }),
                loops.end());
    return loops.size() < kMost;
  }

  static void Add(std::unique_ptr<PrivateLoop> loop) {
    const std::lock_guard lock(Get().mutex_);
    Get().loops_.push_back(std::move(loop));
  }

 private:
  static constexpr std::size_t kMost = 8;

  static Stragglers& Get() {
    static NeverDestroyed<Stragglers> stragglers;
    return stragglers.Get();
  }

  std::mutex mutex_;
  std::vector<std::unique_ptr<PrivateLoop>> loops_;
};

/// A connection of this request's own to the system bus, closed at its end.
class SystemBus {
 public:
  explicit SystemBus(PrivateLoop& loop) : loop_(loop) {}
  ~SystemBus() {
    if (!connection_) return;
    g_dbus_connection_close(connection_.get(), nullptr, &PrivateLoop::OnAnswer, &loop_);
    if (loop_.Wait()) loop_.WaitForClosed();
  }
  SystemBus(const SystemBus&) = delete;
  SystemBus& operator=(const SystemBus&) = delete;

  bool Connect() {
    const Owned<GIOStream> stream = OpenStream();
    if (!stream) return false;
    // Not as a connection to a bus: that one would greet the bus on a thread of its own, where a bus that does not
    // answer leaves a connection which cannot be closed any more.
    g_dbus_connection_new(stream.get(), nullptr, G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT, nullptr,
                          loop_.Cancellable(), &PrivateLoop::OnAnswer, &loop_);
    const auto answer = loop_.Wait();
    if (!answer) return false;
    connection_.reset(g_dbus_connection_new_finish(answer.get(), nullptr));
    if (!connection_) {
      g_io_stream_close(stream.get(), nullptr, nullptr);
      return false;
    }
    loop_.Watch(connection_.get());
    constexpr const char* bus = "org.freedesktop.DBus";
    return Call(bus, "/org/freedesktop/DBus", bus, "Hello", nullptr, "(s)") != nullptr;
  }

  /// \param arguments taken over if floating
  /// \param type of the reply
  /// \return null for an error, another type or no answer in time
  Owned<GVariant> Call(const char* name, const char* path, const char* interface, const char* method,
                       GVariant* arguments, const char* type) {
    // No time limit but the loop's.
    g_dbus_connection_call(connection_.get(), name, path, interface, method, arguments, G_VARIANT_TYPE(type),
                           G_DBUS_CALL_FLAGS_NONE, G_MAXINT, loop_.Cancellable(), &PrivateLoop::OnAnswer, &loop_);
    const auto answer = loop_.Wait();
    return Owned<GVariant>(answer ? g_dbus_connection_call_finish(connection_.get(), answer.get(), nullptr) : nullptr);
  }

 private:
  Owned<GIOStream> OpenStream() {
    // Out of the environment or built in: nothing is asked that could block.
    const Owned<gchar> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, loop_.Cancellable(), nullptr));
    if (!address) return nullptr;
    g_dbus_address_get_stream(address.get(), loop_.Cancellable(), &PrivateLoop::OnAnswer, &loop_);
    const auto answer = loop_.Wait();
    return Owned<GIOStream>(answer ? g_dbus_address_get_stream_finish(answer.get(), nullptr, nullptr) : nullptr);
  }

  PrivateLoop& loop_;
  Owned<GDBusConnection> connection_;
};

/// \return nothing when the service does not answer with a number
std::optional<gint64> ReadNumber(SystemBus& bus, const char* property) {
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

/// GLib ends the process where it gets no descriptor for one of its threads or contexts. More than it needs are tried
/// here; another thread may still take them in between.
bool HasDescriptorsForGlib() {
  constexpr int count = 10;
  int descriptors[count];
  int opened = 0;
  while (opened < count && (descriptors[opened] = eventfd(0, EFD_CLOEXEC)) >= 0) ++opened;
  std::for_each(descriptors, descriptors + opened, close);
  return opened == count;
}

/// GLib's sockets ignore SIGPIPE for the whole process from the first one on, though on Linux they never raise it. The
/// host's own choice is put back.
void PrepareSockets() {
  static const bool prepared = [] {
    struct sigaction chosen = {};
    sigaction(SIGPIPE, nullptr, &chosen);
    // Never given back: the class stays prepared.
    g_type_class_ref(G_TYPE_SOCKET);
    return sigaction(SIGPIPE, &chosen, nullptr) == 0;
  }();
  static_cast<void>(prepared);
}

bool Ask(PrivateLoop& loop, unsigned int id, int priority) {
  SystemBus bus(loop);
  if (!bus.Connect()) return false;
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
  if (!HasDescriptorsForGlib() || !Stragglers::Settle()) return false;
  PrepareSockets();
  auto loop = std::make_unique<PrivateLoop>();
  const bool granted = Ask(*loop, id, priority);
  if (!loop->Leave()) Stragglers::Add(std::move(loop));
  return granted;
}

}  // namespace platform

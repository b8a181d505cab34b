#include <tillvane/platform/linux/message_bus_linux.h>

#include <signal.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include <tillvane/platform/linux/never_destroyed_linux.h>

namespace platform {

namespace {

/// What is left of the time when the work is called off: enough for everything that was begun to end.
constexpr unsigned int kEndMs = 100;

}  // namespace

/// A main context for one request, the calling thread's own default until Leave(), so that nothing of the host's is
/// turned by it; and the time that the request may take. At the end of that time everything under way is cancelled.
class PrivateLoop {
 public:
  explicit PrivateLoop(unsigned int ms) : context_(g_main_context_new()), cancellable_(g_cancellable_new()) {
    g_main_context_push_thread_default(context_);
    AddTimer(ms - kEndMs, &PrivateLoop::OnTimeOver);
    AddTimer(ms, &PrivateLoop::OnGivenUp);
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

namespace {

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

}  // namespace

MessageBus::~MessageBus() {
  if (!connection_) return;
  g_dbus_connection_close(connection_.get(), nullptr, &PrivateLoop::OnAnswer, &loop_);
  if (loop_.Wait()) loop_.WaitForClosed();
}

bool MessageBus::Connect(const std::string& address) {
  const Owned<GIOStream> stream = OpenStream(address);
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

Owned<GVariant> MessageBus::Call(const char* name, const char* path, const char* interface, const char* method,
                                 GVariant* arguments, const char* type) {
  // No time limit but the loop's.
  g_dbus_connection_call(connection_.get(), name, path, interface, method, arguments, G_VARIANT_TYPE(type),
                         G_DBUS_CALL_FLAGS_NONE, G_MAXINT, loop_.Cancellable(), &PrivateLoop::OnAnswer, &loop_);
  const auto answer = loop_.Wait();
  return Owned<GVariant>(answer ? g_dbus_connection_call_finish(connection_.get(), answer.get(), nullptr) : nullptr);
}

Owned<GIOStream> MessageBus::OpenStream(const std::string& address) {
  g_dbus_address_get_stream(address.c_str(), loop_.Cancellable(), &PrivateLoop::OnAnswer, &loop_);
  const auto answer = loop_.Wait();
  return Owned<GIOStream>(answer ? g_dbus_address_get_stream_finish(answer.get(), nullptr, nullptr) : nullptr);
}

std::string SystemBusAddress() {
  const Owned<gchar> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
  return address ? address.get() : std::string();
}

std::string SessionBusAddress() {
  const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  // "autolaunch:" would start one.
  if (address != nullptr) return std::strstr(address, "autolaunch:") == nullptr ? address : std::string();
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || folder[0] != '/') return {};
  const std::string path = std::string(folder) + "/bus";
  struct stat info;
  const bool is_ours = stat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode) && info.st_uid == geteuid();
  if (!is_ours) return {};
  const Owned<gchar> escaped(g_dbus_address_escape_value(path.c_str()));
  return std::string("unix:path=") + escaped.get();
}

bool AskMessageBus(std::string (*address)(), unsigned int ms, const std::function<bool(MessageBus& bus)>& request) {
  if (!HasDescriptorsForGlib() || !Stragglers::Settle()) return false;
  PrepareSockets();
  auto loop = std::make_unique<PrivateLoop>(ms);
  const auto ask = [&] {
    const std::string place = address();
    MessageBus bus(*loop);
    return !place.empty() && bus.Connect(place) && request(bus);
  };
  const bool answer = ask();
  if (!loop->Leave()) Stragglers::Add(std::move(loop));
  return answer;
}

bool HasDescriptorsForGlib() {
  constexpr int count = 10;
  int descriptors[count];
  int opened = 0;
  while (opened < count && (descriptors[opened] = eventfd(0, EFD_CLOEXEC)) >= 0) ++opened;
  std::for_each(descriptors, descriptors + opened, close);
  return opened == count;
}

}  // namespace platform

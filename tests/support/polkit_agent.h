#pragma once

#include <gio/gio.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace support {

/// A connection to the bus at /run/dbus, which a stage of the test's own is; null when there is none.
inline GDBusConnection* ConnectToSystemBus() {
  return g_dbus_connection_new_for_address_sync(
      "unix:path=/run/dbus/system_bus_socket",
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr);
}

/// Who asks this process's user for polkit, on a thread of its own. He says who asked, on standard error, and gives the
/// answer that he is made with: an error of org.freedesktop.PolicyKit1.Error.
class PolkitAgent {
 public:
  explicit PolkitAgent(const std::string& answer) : answer_("org.freedesktop.PolicyKit1.Error." + answer) {
    context_ = g_main_context_new();
    g_main_context_push_thread_default(context_);
    connection_ = ConnectToSystemBus();
    is_registered_ = connection_ != nullptr && Export() && Register();
    g_main_context_pop_thread_default(context_);
    loop_ = g_main_loop_new(context_, FALSE);
    thread_ = std::thread([this] { g_main_loop_run(loop_); });
  }
  ~PolkitAgent() {
    while (!g_main_loop_is_running(loop_)) std::this_thread::yield();
    g_main_loop_quit(loop_);
    thread_.join();
    g_main_loop_unref(loop_);
    g_clear_object(&connection_);
    g_main_context_unref(context_);
  }
  PolkitAgent(const PolkitAgent&) = delete;
  PolkitAgent& operator=(const PolkitAgent&) = delete;

  bool IsRegistered() const { return is_registered_; }

 private:
  static constexpr const char* kPath = "/org/example/Agent";
  static constexpr const char* kInterface =
      "<node><interface name='org.freedesktop.PolicyKit1.AuthenticationAgent'>"
      "<method name='BeginAuthentication'><arg name='action' type='s'/><arg name='message' type='s'/>"
      "<arg name='icon' type='s'/><arg name='details' type='a{ss}'/><arg name='cookie' type='s'/>"
      "<arg name='identities' type='a(sa{sv})'/></method>"
      "<method name='CancelAuthentication'><arg name='cookie' type='s'/></method></interface></node>";

  static void OnCall(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* method,
                     GVariant* arguments, GDBusMethodInvocation* invocation, gpointer data) {
    if (std::string(method) != "BeginAuthentication") {
      g_dbus_method_invocation_return_value(invocation, nullptr);
      return;
    }
    const gchar *action = nullptr, *message = nullptr;
    g_variant_get_child(arguments, 0, "&s", &action);
    g_variant_get_child(arguments, 1, "&s", &message);
    std::fprintf(stderr, "asked for %s: %s\n", action, message);
    const auto& self = *static_cast<PolkitAgent*>(data);
    g_dbus_method_invocation_return_dbus_error(invocation, self.answer_.c_str(), "as it was told");
  }

  bool Export() {
    static const GDBusInterfaceVTable functions = {&PolkitAgent::OnCall, nullptr, nullptr, {}};
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kInterface, nullptr);
    const guint number =
        g_dbus_connection_register_object(connection_, kPath, node->interfaces[0], &functions, this, nullptr, nullptr);
    g_dbus_node_info_unref(node);
    return number != 0;
  }

  /// For this process alone, as `pkttyagent --process` does it.
  bool Register() {
    GVariantBuilder subject;
    g_variant_builder_init(&subject, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&subject, "{sv}", "pid", g_variant_new_uint32(static_cast<guint32>(getpid())));
    g_variant_builder_add(&subject, "{sv}", "start-time", g_variant_new_uint64(StartTime()));
    GVariant* const reply =
        g_dbus_connection_call_sync(connection_, "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                                    "org.freedesktop.PolicyKit1.Authority", "RegisterAuthenticationAgent",
                                    g_variant_new("((sa{sv})ss)", "unix-process", &subject, "C", kPath), nullptr,
                                    G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) return false;
    g_variant_unref(reply);
    return true;
  }

  static guint64 StartTime() {
    std::ifstream file("/proc/self/stat");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    // Behind the name in brackets comes the third field; the start is the twenty-second.
    const char* at = text.c_str() + text.rfind(')') + 2;
    for (int i = 3; i < 22; ++i) at = std::char_traits<char>::find(at, text.size(), ' ') + 1;
    return std::stoull(at);
  }

  const std::string answer_;
  GMainContext* context_ = nullptr;
  GMainLoop* loop_ = nullptr;
  GDBusConnection* connection_ = nullptr;
  bool is_registered_ = false;
  std::thread thread_;
};

}  // namespace support

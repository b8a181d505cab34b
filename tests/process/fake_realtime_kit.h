#pragma once

#include <gio/gio.h>
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace support {

/// RealtimeKit as far as its callers see it, on the bus that DBUS_SYSTEM_BUS_ADDRESS names: it looks at the process
/// that asks as the real one does, and gives SCHED_RR where it may itself.
///
/// It says "ready", then a line for each request: the limits of the process as they are then. What it does instead:
///   refuse   refuses every request          silent   answers nothing at all
///   stall    does not answer a request      no-time  allows no time to run
///   low      allows no priority             text     has texts where numbers belong
class FakeRealtimeKit {
 public:
  explicit FakeRealtimeKit(std::string way) : way_(std::move(way)) {}

  [[noreturn]] void Run() {
    gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    connection_ = g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    g_free(address);
    if (connection_ == nullptr) _exit(1);
    // Properties too are answered, or not, by this object.
    static const GDBusInterfaceVTable functions = {&FakeRealtimeKit::OnCall, nullptr, nullptr, {}};
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kInterfaces, nullptr);
    for (GDBusInterfaceInfo** interface = node->interfaces; *interface != nullptr; ++interface) {
      g_dbus_connection_register_object(connection_, "/org/freedesktop/RealtimeKit1", *interface, &functions, this,
                                        nullptr, nullptr);
    }
    g_bus_own_name_on_connection(
        connection_, "org.freedesktop.RealtimeKit1", G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, gpointer) { Say("ready"); }, nullptr, nullptr, nullptr);
    for (;;) g_main_context_iteration(nullptr, TRUE);
  }

 private:
  static constexpr gint64 kLongest = 200000;
  static constexpr guint32 kHighest = 20;
  static constexpr const char* kInterfaces =
      "<node><interface name='org.freedesktop.RealtimeKit1'><method name='MakeThreadRealtime'>"
      "<arg name='thread' type='t'/><arg name='priority' type='u'/></method></interface>"
      "<interface name='org.freedesktop.DBus.Properties'><method name='Get'><arg name='interface' type='s'/>"
      "<arg name='name' type='s'/><arg name='value' type='v' direction='out'/></method></interface></node>";

  static void Say(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
  }

  static void OnCall(GDBusConnection*, const gchar* sender, const gchar*, const gchar* interface, const gchar*,
                     GVariant* arguments, GDBusMethodInvocation* invocation, gpointer data) {
    auto& self = *static_cast<FakeRealtimeKit*>(data);
    if (self.way_ == "silent") return;
    if (std::string(interface) == "org.freedesktop.DBus.Properties") {
      const gchar* name = nullptr;
      g_variant_get(arguments, "(s&s)", nullptr, &name);
      g_dbus_method_invocation_return_value(invocation, g_variant_new("(v)", self.Property(name)));
      return;
    }
    guint64 thread = 0;
    guint32 priority = 0;
    g_variant_get(arguments, "(tu)", &thread, &priority);
    const std::string refusal = self.Make(self.ProcessOf(sender), thread, priority);
    if (self.way_ == "stall") return;
    if (refusal.empty()) {
      g_dbus_method_invocation_return_value(invocation, nullptr);
    } else {
      Say("refused: " + refusal);
      g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.AccessDenied",
                                                 refusal.c_str());
    }
  }

  GVariant* Property(const std::string& name) const {
    if (way_ == "text") return g_variant_new_string("200000");
    if (name == "RTTimeUSecMax") return g_variant_new_int64(way_ == "no-time" ? 0 : kLongest);
    return g_variant_new_int32(way_ == "low" ? 0 : gint32{kHighest});
  }

  guint32 ProcessOf(const gchar* sender) const {
    GVariant* reply =
        g_dbus_connection_call_sync(connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                    "org.freedesktop.DBus", "GetConnectionUnixProcessID", g_variant_new("(s)", sender),
                                    G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    guint32 process = 0;
    if (reply == nullptr) return process;
    g_variant_get(reply, "(u)", &process);
    g_variant_unref(reply);
    return process;
  }

  /// \return the reason of a refusal, empty when it is done
  std::string Make(guint32 process, guint64 thread, guint32 priority) const {
    const std::string folder = "/proc/" + std::to_string(process);
    if (access((folder + "/task/" + std::to_string(thread)).c_str(), F_OK) != 0) return "not a thread of the caller";
    std::ifstream file(folder + "/limits");
    std::string line;
    const std::string title = "Max realtime timeout";
    while (std::getline(file, line) && line.rfind(title, 0) != 0) {
    }
    char soft[32] = "";
    char hard[32] = "";
    if (std::sscanf(line.c_str() + std::min(title.size(), line.size()), "%31s %31s", soft, hard) != 2)
      return "no limits";
    Say(std::string("limits ") + soft + ' ' + hard + " priority " + std::to_string(priority));
    if (!IsAllowed(soft) || !IsAllowed(hard)) return "the limits are too high";
    if (priority < 1 || priority > kHighest) return "the priority is not allowed";
    if (way_ == "refuse") return "as it was told";
    if (way_ == "stall") return {};
    const sched_param parameter{static_cast<int>(priority)};
    const int result = sched_setscheduler(static_cast<pid_t>(thread), SCHED_RR | SCHED_RESET_ON_FORK, &parameter);
    return result == 0 ? "" : "the kernel refuses";
  }

  static bool IsAllowed(const std::string& limit) { return limit != "unlimited" && std::stoll(limit) <= kLongest; }

  const std::string way_;
  GDBusConnection* connection_ = nullptr;
};

}  // namespace support

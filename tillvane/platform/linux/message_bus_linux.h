#pragma once

/// \file
/// A message bus, asked by a service of the desktop's that may be away, or may not answer.

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

namespace platform {

/// Releases what GLib's functions give.
struct GlibReleaser {
  void operator()(gpointer object) const { g_object_unref(object); }
  void operator()(GVariant* value) const { g_variant_unref(value); }
  void operator()(gchar* text) const { g_free(text); }
};
template <class T>
using Owned = std::unique_ptr<T, GlibReleaser>;

class PrivateLoop;

/// A connection to a bus of one request's own, closed at its end. \see AskMessageBus
class MessageBus {
 public:
  explicit MessageBus(PrivateLoop& loop) : loop_(loop) {}
  ~MessageBus();
  MessageBus(const MessageBus&) = delete;
  MessageBus& operator=(const MessageBus&) = delete;

  bool Connect(const std::string& address);

  /// \param arguments taken over if floating
  /// \param type of the reply
  /// \return null for an error, another type or no answer in time
  Owned<GVariant> Call(const char* name, const char* path, const char* interface, const char* method,
                       GVariant* arguments, const char* type);

 private:
  Owned<GIOStream> OpenStream(const std::string& address);

  PrivateLoop& loop_;
  Owned<GDBusConnection> connection_;
};

/// Where the bus of the system is; empty when nothing says so. Out of the environment or built in: nothing is asked
/// that could block.
std::string SystemBusAddress();

/// Where the bus of the user's session is, if there is one: a bus is never started to be asked.
std::string SessionBusAddress();

/// Connects to a bus and makes a request there. Any thread; the calling thread sleeps meanwhile, and
/// no main context of the host's is turned.
///
/// The first call starts the worker threads of GLib's bus, which keep a few descriptors for the rest of the process.
/// \param address tells where the bus is: one of the functions above
/// \param ms the longest that all of it may take; more than 100
/// \return what the request answers; false when it could not be made for want of the bus, of descriptors or of time
bool AskMessageBus(std::string (*address)(), unsigned int ms, const std::function<bool(MessageBus& bus)>& request);

/// GLib ends the process where it gets no descriptor for one of its threads or contexts. More than it needs are tried
/// here; another thread may still take them in between.
bool HasDescriptorsForGlib();

}  // namespace platform

#include <tillvane/platform/workspace.h>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <tillvane/platform/linux/launch_arguments_linux.h>
#include <tillvane/platform/linux/message_bus_linux.h>

namespace platform {

namespace {

/// A file manager that is not running has to start first.
constexpr unsigned int kFileManagerMs = 5000;

constexpr OSStatus kNoApplication = -10814;
constexpr OSStatus kNotStarted = -10810;

/// What an address book deals with, by the names that are in use.
constexpr const char* kContactTypes[] = {"text/vcard", "text/x-vcard", "text/directory"};

/// \return null when there is none
Owned<gchar> FileURI(const char* path) {
  if (path == nullptr || path[0] == '\0') return nullptr;
  const Owned<gchar> absolute(g_canonicalize_filename(path, nullptr));
  return Owned<gchar>(g_filename_to_uri(absolute.get(), nullptr, nullptr));
}

bool ShowItem(MessageBus& bus, const char* uri) {
  constexpr const char* name = "org.freedesktop.FileManager1";
  const char* const uris[] = {uri, nullptr};
  GVariant* const arguments = g_variant_new("(^ass)", uris, "");
  return bus.Call(name, "/org/freedesktop/FileManager1", name, "ShowItems", arguments, "()") != nullptr;
}

/// Whether an application says itself that it deals with files of a type. A file of contacts is also a text, and what
/// opens any text is no address book.
bool ClaimsType(GAppInfo* application, const char* type) {
  const char** types = g_app_info_get_supported_types(application);
  return types != nullptr && g_strv_contains(types, type) != FALSE;
}

bool NeedsTerminal(GAppInfo* application) {
  return G_IS_DESKTOP_APP_INFO(application) != FALSE &&
         g_desktop_app_info_get_boolean(G_DESKTOP_APP_INFO(application), "Terminal") != FALSE;
}

/// The user's choice for a type, else the first application that claims it. \return null when there is none
Owned<GAppInfo> ApplicationForType(const char* type) {
  Owned<GAppInfo> application(g_app_info_get_default_for_type(type, FALSE));
  if (application && ClaimsType(application.get(), type)) return application;
  GList* const others = g_app_info_get_recommended_for_type(type);
  application.reset(others != nullptr ? G_APP_INFO(g_object_ref(others->data)) : nullptr);
  g_list_free_full(others, g_object_unref);
  return application;
}

Owned<GAppInfo> AddressBook() {
  for (const char* type : kContactTypes) {
    auto application = ApplicationForType(type);
    if (application && !NeedsTerminal(application.get())) return application;
  }
  return nullptr;
}

/// Runs in the new process: nothing but calls that a signal handler may make.
void MakeIndependent(gpointer) {
  setsid();
  // A host of ours may create files for everybody; what it starts does not, without being asked to.
  constexpr mode_t kUsual = 022;
  const mode_t before = umask(kUsual);
  if (before != 0) umask(before);
}

/// The application is nobody's child, and does not write where this process writes.
bool Start(std::vector<std::string> arguments) {
  std::vector<gchar*> vector;
  for (std::string& argument : arguments) vector.push_back(argument.data());
  vector.push_back(nullptr);
  constexpr auto flags =
      static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
  return g_spawn_async(nullptr, vector.data(), nullptr, flags, &MakeIndependent, nullptr, nullptr, nullptr) != FALSE;
}

}  // namespace

bool RevealFile(const char* path) {
  const Owned<gchar> uri = FileURI(path);
  return uri &&
         AskMessageBus(&SessionBusAddress, kFileManagerMs, [&](MessageBus& bus) { return ShowItem(bus, uri.get()); });
}

OSStatus OpenAddressBook() {
  if (!HasDescriptorsForGlib()) return kNotStarted;
  const Owned<GAppInfo> application = AddressBook();
  if (!application) return kNoApplication;
  // Not by g_app_info_launch, which asks the session bus, for as long as that likes, on a connection that ends the
  // process when the bus ends.
  const char* const command = g_app_info_get_commandline(application.get());
  std::vector<std::string> arguments = LaunchArguments(command != nullptr ? command : "");
  return !arguments.empty() && Start(std::move(arguments)) ? 0 : kNotStarted;
}

}  // namespace platform

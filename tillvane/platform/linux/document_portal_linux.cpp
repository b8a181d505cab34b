#include <tillvane/platform/linux/document_portal_linux.h>

#include <atomic>
#include <chrono>
#include <cstdlib>

#include <tillvane/platform/linux/message_bus_linux.h>

namespace platform {

namespace {

constexpr const char* kName = "org.freedesktop.portal.Documents";
constexpr const char* kPath = "/org/freedesktop/portal/documents";

/// The portal may have to start first.
constexpr unsigned int kPortalMs = 2000;

/// Of a question that was not answered: there may be many documents to ask for.
constexpr std::chrono::seconds kLeftAlone{30};

using Clock = std::chrono::steady_clock;
std::atomic<Clock::duration> left_alone_until{Clock::duration::min()};

/// Inside Flatpak the portal's folder has a second name.
constexpr std::string_view kFlatpakFolder = "/run/flatpak/doc/";

/// \return what follows the portal's folder; empty for other paths
std::string_view BehindPortalFolder(std::string_view path) {
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && runtime[0] == '/') {
    const std::string folder = std::string(runtime) + "/doc/";
    if (path.starts_with(folder)) return path.substr(folder.size());
  }
  return path.starts_with(kFlatpakFolder) ? path.substr(kFlatpakFolder.size()) : std::string_view();
}

/// The first text of an answer, which is one of bytes with a terminator.
std::string TextOfAnswer(GVariant* answer) {
  const Owned<GVariant> text(g_variant_get_child_value(answer, 0));
  return g_variant_get_bytestring(text.get());
}

/// The way of a document that has another name by now.
std::string RestUnder(const std::string& host_path, const std::string& rest) {
  const std::string name = host_path.substr(host_path.rfind('/') + 1);
  const std::size_t slash = rest.find('/');
  if (name.empty()) return rest;
  return slash == std::string::npos ? name : name + rest.substr(slash);
}

bool Ask(MessageBus& bus, const PortalDocument& document, std::string* path) {
  const auto folder = bus.Call(kName, kPath, kName, "GetMountPoint", nullptr, "(ay)");
  if (!folder) return false;
  // Refused to confined applications: for them the name is as it was.
  GVariant* const arguments = g_variant_new("(s)", document.id.c_str());
  const auto info = bus.Call(kName, kPath, kName, "Info", arguments, "(aya{sas})");
  const std::string rest = info ? RestUnder(TextOfAnswer(info.get()), document.rest) : document.rest;
  *path = TextOfAnswer(folder.get()) + '/' + document.id + '/' + rest;
  return path->starts_with('/');
}

}  // namespace

PortalDocument PortalDocumentOf(std::string_view path) {
  const std::string_view behind = BehindPortalFolder(path);
  const std::size_t slash = behind.find('/');
  if (slash == std::string_view::npos || slash + 1 == behind.size()) return {};
  // "by-app" has the same documents once more, for each application.
  const std::string_view id = behind.substr(0, slash);
  if (id.empty() || id == "by-app") return {};
  return {std::string(id), std::string(behind.substr(slash + 1))};
}

std::string PortalPathOf(const PortalDocument& document) {
  const Clock::time_point begin = Clock::now();
  if (begin.time_since_epoch() < left_alone_until.load()) return {};
  std::string path;
  if (AskMessageBus(&SessionBusAddress, kPortalMs, [&](MessageBus& bus) { return Ask(bus, document, &path); })) {
    return path;
  }
  const Clock::time_point end = Clock::now();
  if (end - begin > std::chrono::milliseconds(kPortalMs / 2)) left_alone_until = (end + kLeftAlone).time_since_epoch();
  return {};
}

}  // namespace platform

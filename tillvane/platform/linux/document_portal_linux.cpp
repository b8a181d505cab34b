#include <tillvane/platform/linux/document_portal_linux.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <vector>

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
constexpr const char* kFlatpakFolder = "/run/flatpak/doc/";

/// Where the portal mounts its folder, as it may be called here.
std::vector<std::string> PortalFolders() {
  // In a snap the runtime folder is one of the application's own, and the portal's is still the user's.
  std::vector<std::string> folders = {kFlatpakFolder, "/run/user/" + std::to_string(geteuid()) + "/doc/"};
  const char* const variable = std::getenv("XDG_RUNTIME_DIR");
  std::string runtime = variable != nullptr ? variable : "";
  while (runtime.size() > 1 && runtime.ends_with('/')) runtime.pop_back();
  if (runtime.starts_with('/')) folders.push_back(runtime + "/doc/");
  return folders;
}

/// \return what follows the portal's folder; empty for other paths
std::string_view BehindPortalFolder(std::string_view path) {
  for (const std::string& folder : PortalFolders()) {
    if (path.starts_with(folder)) return path.substr(folder.size());
  }
  return {};
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

bool IsThere(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

/// \return empty when the portal does not tell
std::string AskFolder(MessageBus& bus) {
  const auto answer = bus.Call(kName, kPath, kName, "GetMountPoint", nullptr, "(ay)");
  std::string folder = answer ? TextOfAnswer(answer.get()) : std::string();
  return folder.starts_with('/') ? folder : std::string();
}

/// Refused to confined applications: for them the name is as it was.
std::string AskRest(MessageBus& bus, const PortalDocument& document) {
  GVariant* const arguments = g_variant_new("(s)", document.id.c_str());
  const auto info = bus.Call(kName, kPath, kName, "Info", arguments, "(aya{sas})");
  return info ? RestUnder(TextOfAnswer(info.get()), document.rest) : document.rest;
}

bool IsLeftAlone() { return Clock::now().time_since_epoch() < left_alone_until.load(); }

/// Whatever it did answer: the next document would wait as long.
void AskPortal(const std::function<bool(MessageBus&)>& request) {
  const Clock::time_point begin = Clock::now();
  AskMessageBus(&SessionBusAddress, kPortalMs, request);
  const Clock::time_point end = Clock::now();
  if (end - begin > std::chrono::milliseconds(kPortalMs / 2)) left_alone_until = (end + kLeftAlone).time_since_epoch();
}

}  // namespace

bool IsDocumentID(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~' && c != '/'; });
}

PortalDocument PortalDocumentOf(std::string_view path) {
  const std::string_view behind = BehindPortalFolder(path);
  const std::string_view id = behind.substr(0, behind.find('/'));
  const std::size_t rest = behind.find_first_not_of('/', id.size());
  // "by-app" has the same documents once more, for each application.
  if (rest == std::string_view::npos || !IsDocumentID(id) || id == "by-app") return {};
  return {std::string(id), std::string(behind.substr(rest))};
}

std::string PresentDocuments::PathOf(const PortalDocument& document) {
  std::string rest = document.rest;
  const auto path = [&] { return folder_ + '/' + document.id + '/' + rest; };
  const bool is_known = !folder_.empty() && IsThere(path());
  if (!is_known && !IsLeftAlone()) {
    AskPortal([&](MessageBus& bus) {
      if (folder_.empty()) folder_ = AskFolder(bus);
      if (!folder_.empty() && !IsThere(path())) rest = AskRest(bus, document);
      return true;
    });
  }
  return folder_.empty() ? folder_ : path();
}

}  // namespace platform

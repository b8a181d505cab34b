#include <tests/support/scripted_grants.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include <tillvane/platform/preferences.h>
#include <tillvane/platform/scoped_url.h>

struct LPlatformURL {
  std::string path;
  int references = 1;
};

namespace support {

namespace {

ScriptedGrants* script = nullptr;

ScriptedGrants& Script() {
  if (script == nullptr) std::abort();
  return *script;
}

const std::string kBookmarkOf = "bookmark of ";

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

void Note(std::string_view call, std::string_view argument = {}) {
  if (Script().keeps_calls) Script().calls.push_back(std::string(call).append(argument));
}

template <class T>
std::optional<T> Find(const char* key) {
  const auto place = Script().preferences.find(key);
  if (!Script().can_read || place == Script().preferences.end() || !std::holds_alternative<T>(place->second))
    return std::nullopt;
  return std::get<T>(place->second);
}

}  // namespace

ScriptedGrants::ScriptedGrants() { script = this; }
ScriptedGrants::~ScriptedGrants() { script = nullptr; }

LPlatformURL* ScriptedGrants::Grant(const std::string& path) {
  auto* const url = new LPlatformURL{path};
  ++urls;
  return url;
}

int ScriptedGrants::ReferencesOf(LPlatformURL* url) const { return url->references; }

Texts ScriptedGrants::TakeCalls() { return std::exchange(calls, {}); }

Bytes ScriptedGrants::Bookmark(const std::string& path) { return BytesOf(kBookmarkOf + path); }

Bytes ScriptedGrants::Neither() { return BytesOf("neither"); }

}  // namespace support

namespace platform {

using support::Bytes;
using support::Note;
using support::Script;
using support::Texts;

bool ArePreferencesReadable() { return Script().can_read; }

bool HasPreference(const char* key) { return Script().can_read && Script().preferences.count(key) != 0; }

std::optional<std::string> PreferenceText(const char* key) { return support::Find<std::string>(key); }
std::optional<Texts> PreferenceTexts(const char* key) { return support::Find<Texts>(key); }
std::optional<Bytes> PreferenceData(const char* key) { return support::Find<Bytes>(key); }

void SetPreferenceText(const char* key, const std::string& text) {
  Note("text ", key);
  Script().preferences[key] = text;
}

void SetPreferenceTexts(const char* key, const Texts& texts) {
  std::string call = std::string("list ") + key + ':';
  for (const std::string& text : texts) call += ' ' + text;
  Note(call);
  Script().preferences[key] = texts;
}

void SetPreferenceData(const char* key, const Bytes& data) {
  Note(std::string("data ") + key + ": " + std::string(data.begin(), data.end()));
  Script().preferences[key] = data;
}

void RemovePreference(const char* key) {
  Note("remove ", key);
  Script().preferences.erase(key);
}

bool SynchronizePreferences() {
  Note("synchronize");
  return Script().can_synchronize;
}

LPlatformURL* CreateScopedURL(const char* path) { return Script().Grant(path); }

void RetainScopedURL(LPlatformURL* url) {
  if (url != nullptr) ++url->references;
}

void ReleaseScopedURL(LPlatformURL* url) {
  if (url == nullptr || --url->references > 0) return;
  delete url;
  --Script().urls;
}

std::string ScopedURLPath(LPlatformURL* url) { return url != nullptr ? url->path : std::string(); }

bool StartScopedAccess(LPlatformURL* url) {
  if (url == nullptr || !Script().knows_access) return false;
  Note("start ", url->path);
  return true;
}

bool StopScopedAccess(LPlatformURL* url) {
  if (url == nullptr || !Script().knows_access) return false;
  Note("stop ", url->path);
  return true;
}

std::optional<Bytes> ScopedBookmark(LPlatformURL* url) {
  if (url == nullptr || Script().without_bookmark.count(url->path) != 0) return std::nullopt;
  Note("bookmark ", url->path);
  return support::ScriptedGrants::Bookmark(url->path);
}

ResolvedBookmark ResolveScopedBookmark(const Bytes& bookmark) {
  if (Script().resolving == 0) ++Script().resolved_alone;
  const std::string text(bookmark.begin(), bookmark.end());
  if (text.rfind(support::kBookmarkOf, 0) == 0) {
    return {Script().Grant(text.substr(support::kBookmarkOf.size())), false};
  }
  return {nullptr, bookmark != support::ScriptedGrants::Neither()};
}

void BeginResolvingMany() { ++Script().resolving; }
void EndResolvingMany() { --Script().resolving; }

}  // namespace platform

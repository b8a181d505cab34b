#include <tillvane/platform/scoped_url.h>

#include <atomic>
#include <filesystem>
#include <system_error>
#include <utility>

#include <tillvane/platform/linux/document_portal_linux.h>
#include <tillvane/platform/linux/file_identity_linux.h>
#include <tillvane/platform/linux/scoped_bookmark_linux.h>

struct LPlatformURL {
  explicit LPlatformURL(std::string file) : path(std::move(file)) {}

  std::atomic<unsigned int> references{1};
  const std::string path;
};

namespace platform {

namespace {

/// \return empty where there is none
std::string AbsolutePath(const char* path) {
  std::error_code error;
  std::string absolute = path[0] == '/' ? path : std::filesystem::absolute(path, error).string();
  if (error) return {};
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  return absolute;
}

bool IsThere(const std::string& path) { return IdentityOf(path).has_value(); }

/// What was found out for one bookmark and holds for those that come soon after it.
struct Answers {
  PresentPaths paths;
  PresentDocuments documents;
};

thread_local Answers* kept_answers = nullptr;

/// Another process may have renamed the file, or put another one in its place; the portal may be mounted elsewhere or
/// not yet. What cannot be found is where it was: it may come back.
std::string PathOf(const BookmarkRecord& record, Answers* answers) {
  std::string path;
  if (record.document.id.empty()) {
    path = answers->paths.Of(record.path, record.identity);
  } else if (!IsThere(record.path)) {
    path = answers->documents.PathOf(record.document);
  }
  return path.empty() ? record.path : path;
}

}  // namespace

LPlatformURL* CreateScopedURL(const char* path) {
  std::string absolute = AbsolutePath(path);
  return absolute.empty() ? nullptr : new LPlatformURL(std::move(absolute));
}

void RetainScopedURL(LPlatformURL* url) {
  if (url != nullptr) url->references.fetch_add(1, std::memory_order_relaxed);
}

void ReleaseScopedURL(LPlatformURL* url) {
  if (url != nullptr && url->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete url;
}

std::string ScopedURLPath(LPlatformURL* url) { return url != nullptr ? url->path : std::string(); }

// The system asks for nothing before a file is used: what was granted, the portal or the permissions keep.
bool StartScopedAccess(LPlatformURL* url) { return url != nullptr; }
bool StopScopedAccess(LPlatformURL* url) { return url != nullptr; }

std::optional<std::vector<unsigned char>> ScopedBookmark(LPlatformURL* url) {
  if (url == nullptr) return std::nullopt;
  const std::optional<FileIdentity> identity = IdentityOf(url->path);
  if (!identity) return std::nullopt;
  return EncodeBookmark({url->path, *identity, PortalDocumentOf(url->path)});
}

ResolvedBookmark ResolveScopedBookmark(const std::vector<unsigned char>& bookmark) {
  const std::optional<BookmarkRecord> record = DecodeBookmark(bookmark);
  if (!record) return {nullptr, true};
  Answers answers;
  return {new LPlatformURL(PathOf(*record, kept_answers != nullptr ? kept_answers : &answers)), false};
}

void BeginResolvingMany() {
  if (kept_answers == nullptr) kept_answers = new Answers;
}

void EndResolvingMany() {
  delete kept_answers;
  kept_answers = nullptr;
}

}  // namespace platform

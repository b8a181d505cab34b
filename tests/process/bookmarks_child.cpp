// An application with grants: does what its arguments say, and writes what it has then, a line each.
//
// add PATH KEY [PATH KEY...]
//   adds grants and keeps them
//
// list
//   takes over what is kept: "item PATH KEY", the newest first, then "key KEY"
//
// time
//   the same, and only how many there are, and "ms TIME"

#include <cstdio>
#include <string>

#include <tests/support/waiting.h>
#include <tillvane/tillvane.h>

namespace {

int Add(int count, char** arguments) {
  bool all_kept = true;
  for (int i = 0; i + 1 < count; i += 2) {
    LPlatformURL* const url = LPlatformURLCreate(arguments[i]);
    LSandboxBookmarkManager::AddFilePath(arguments[i], url, true, true, arguments[i + 1]);
    LPlatformURLRelease(url);
    const LSandboxBookmarkItem* const item = LSandboxBookmarkManager::pInstance->InstanceGetItem(arguments[i]);
    all_kept = all_kept && item != nullptr && item->persisted;
  }
  std::printf("kept %d\n", all_kept ? 1 : 0);
  return 0;
}

int List() {
  const LSandboxBookmarkManager& manager = *LSandboxBookmarkManager::pInstance;
  for (const LSandboxBookmarkItem* item = manager.items.head; item != nullptr; item = item->next) {
    std::printf("item %s %s%s\n", item->path, item->key, item->accessing && item->persisted ? "" : " not accessed");
  }
  for (unsigned int i = 0; i < manager.keys->Count(); ++i) std::printf("key %s\n", manager.keys->At(i));
  return 0;
}

int Time(long long ms) {
  int count = 0;
  const LSandboxBookmarkItem* item = LSandboxBookmarkManager::pInstance->items.head;
  for (; item != nullptr; item = item->next) ++count;
  std::printf("count %d\nms %lld\n", count, ms);
  return 0;
}

int Do(const std::string& command, int count, char** arguments) {
  const support::Stopwatch watch;
  LSandboxBookmarkManager::Create();
  int status = 2;
  if (command == "add") status = Add(count, arguments);
  if (command == "list") status = List();
  if (command == "time") status = Time(watch.Ms());
  LSandboxBookmarkManager::Destroy();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const int status = Do(argc > 1 ? argv[1] : "", argc - 2, argv + 2);
  if (status == 2) std::fprintf(stderr, "bookmarks_child: no such command\n");
  return status;
}

#include <tillvane/platform/linux/info_plist_linux.h>

#include <plist/plist.h>

#include <cstdint>
#include <memory>

#include <tillvane/platform/linux/plist_size_linux.h>

namespace platform {

namespace {

struct Free {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, Free>;

Node Parse(std::string_view data) {
  const auto size = static_cast<std::uint32_t>(data.size());
  plist_t node = nullptr;
  if (IsBinaryPlist(data)) {
    plist_from_bin(data.data(), size, &node);
  } else {
    plist_from_xml(data.data(), size, &node);
  }
  return Node(node);
}

}  // namespace

std::string InfoPlistText(std::string_view data, const char* key) {
  if (data.empty() || data.size() > kMaximumInfoPlist || !IsPlistModest(data)) return {};
  const Node root = Parse(data);
  if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return {};
  const plist_t value = plist_dict_get_item(root.get(), key);
  if (value == nullptr || plist_get_node_type(value) != PLIST_STRING) return {};
  const char* const text = plist_get_string_ptr(value, nullptr);
  return text != nullptr ? text : std::string();
}

}  // namespace platform

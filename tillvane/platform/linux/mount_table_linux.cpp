#include <tillvane/platform/linux/mount_table_linux.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>
#include <utility>

#include <tillvane/platform/linux/small_file_linux.h>

namespace platform {

namespace {

/// Takes what stands before the first `separator`, and that, off the text: all of it when there is none.
std::string_view TakeUntil(std::string_view* text, char separator) {
  const std::size_t end = std::min(text->find(separator), text->size());
  const std::string_view taken = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  return taken;
}

template <class Number>
bool ParseNumber(std::string_view text, Number* number) {
  const char* end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, *number);
  return error == std::errc() && parsed == end;
}

bool ParseDevice(std::string_view text, Mount* mount) {
  const std::string_view major = TakeUntil(&text, ':');
  return ParseNumber(major, &mount->major) && ParseNumber(text, &mount->minor);
}

/// The byte of an escape's digits, or nothing where these are none.
std::optional<char> ParseOctal(std::string_view digits) {
  unsigned char byte = 0;
  const char* end = digits.data() + digits.size();
  const auto [parsed, error] = std::from_chars(digits.data(), end, byte, 8);
  if (digits.size() != 3 || error != std::errc() || parsed != end) return std::nullopt;
  return static_cast<char>(byte);
}

std::string Unescaped(std::string_view field) {
  std::string text;
  text.reserve(field.size());
  for (std::size_t at = 0; at < field.size(); ++at) {
    const std::optional<char> byte = field[at] == '\\' ? ParseOctal(field.substr(at + 1, 3)) : std::nullopt;
    text += byte.value_or(field[at]);
    if (byte) at += 3;
  }
  return text;
}

std::optional<Mount> ParseMount(std::string_view line) {
  Mount mount;
  if (!ParseNumber(TakeUntil(&line, ' '), &mount.id) || !ParseNumber(TakeUntil(&line, ' '), &mount.parent) ||
      !ParseDevice(TakeUntil(&line, ' '), &mount)) {
    return std::nullopt;
  }
  TakeUntil(&line, ' ');  // the file system's folder that is mounted
  mount.point = Unescaped(TakeUntil(&line, ' '));
  TakeUntil(&line, ' ');  // options
  while (!line.empty() && TakeUntil(&line, ' ') != "-") {
  }
  mount.type = Unescaped(TakeUntil(&line, ' '));
  mount.source = Unescaped(TakeUntil(&line, ' '));
  if (!mount.point.starts_with('/') || mount.type.empty()) return std::nullopt;
  return mount;
}

}  // namespace

MountTable ParseMountTable(std::string_view text) {
  MountTable table;
  while (!text.empty()) {
    if (std::optional<Mount> mount = ParseMount(TakeUntil(&text, '\n'))) table.push_back(std::move(*mount));
  }
  return table;
}

MountTable ReadMountTable() {
  constexpr std::size_t most = std::size_t{64} * 1024 * 1024;
  std::string text;
  // A thread may have mounts of its own.
  if (!ReadSmallFile("/proc/thread-self/mountinfo", most, &text).empty() || text.size() > most) return {};
  return ParseMountTable(text);
}

const Mount* FindMount(const MountTable& table, std::uint64_t id) {
  const auto found = std::find_if(table.begin(), table.end(), [id](const Mount& mount) { return mount.id == id; });
  return found != table.end() ? &*found : nullptr;
}

std::optional<Mount> MakeRootMount(const MountTable& table, std::uint64_t id, unsigned int major, unsigned int minor) {
  const std::string_view root = "/";
  if (std::any_of(table.begin(), table.end(), [root](const Mount& mount) { return mount.point == root; })) return {};
  const auto found = std::find_if(table.begin(), table.end(), [major, minor](const Mount& mount) {
    return mount.major == major && mount.minor == minor;
  });
  Mount mount = found != table.end() ? *found : Mount{};
  mount.id = id;
  mount.parent = id;
  mount.major = major;
  mount.minor = minor;
  mount.point = std::string(root);
  return mount;
}

}  // namespace platform

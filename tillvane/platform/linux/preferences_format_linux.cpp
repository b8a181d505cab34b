#include <tillvane/platform/linux/preferences_format_linux.h>

#include <cstddef>
#include <optional>
#include <utility>

// GLib's own reader stops at the first line that it does not understand, cuts a line at a zero byte, and ends the
// process where memory is missing.

namespace platform {

namespace {

constexpr std::string_view kGroup = "[Preferences]";
constexpr std::string_view kDigits = "0123456789abcdef";
constexpr std::string_view kEmptyKey = "%";
// GLib takes a key of this name for the encoding of the whole file.
constexpr std::string_view kReservedKey = "Encoding";

bool IsPlainInKey(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == '-' ||
         byte == '.' || byte == '_';
}

bool IsControl(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  return code < 0x20 || code == 0x7F;
}

void AppendDigits(unsigned char byte, std::string* text) {
  *text += kDigits[byte >> 4U];
  *text += kDigits[byte & 0xFU];
}

/// Takes a text off the front. \return false when the front is another one
bool Take(std::string_view front, std::string_view* text) {
  if (!text->starts_with(front)) return false;
  text->remove_prefix(front.size());
  return true;
}

std::optional<unsigned char> TakeDigits(std::string_view* text) {
  if (text->size() < 2) return std::nullopt;
  const std::size_t high = kDigits.find((*text)[0]), low = kDigits.find((*text)[1]);
  if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
  text->remove_prefix(2);
  return static_cast<unsigned char>((high << 4U) | low);
}

std::string EscapedKey(std::string_view key) {
  if (key.empty()) return std::string(kEmptyKey);
  std::string escaped;
  for (const char byte : key) {
    if (IsPlainInKey(byte) && key != kReservedKey) {
      escaped += byte;
    } else {
      escaped += '%';
      AppendDigits(static_cast<unsigned char>(byte), &escaped);
    }
  }
  return escaped;
}

/// Only as EscapedKey() gives it: of one key there are no two spellings.
std::optional<std::string> PlainKey(std::string_view escaped) {
  std::string key;
  for (std::string_view left = escaped == kEmptyKey ? std::string_view() : escaped; !left.empty();) {
    if (!Take("%", &left)) {
      key += left.front();
      left.remove_prefix(1);
    } else if (const auto byte = TakeDigits(&left)) {
      key += static_cast<char>(*byte);
    } else {
      return std::nullopt;
    }
  }
  return EscapedKey(key) == escaped ? std::optional(std::move(key)) : std::nullopt;
}

void AppendText(std::string_view value, std::string* text) {
  *text += '"';
  for (const char byte : value) {
    if (IsControl(byte)) {
      *text += "\\x";
      AppendDigits(static_cast<unsigned char>(byte), text);
      continue;
    }
    if (byte == '"' || byte == '\\') *text += '\\';
    *text += byte;
  }
  *text += '"';
}

std::optional<char> TakeEscaped(std::string_view* text) {
  if (Take("\"", text)) return '"';
  if (Take("\\", text)) return '\\';
  if (!Take("x", text)) return std::nullopt;
  const auto byte = TakeDigits(text);
  return byte ? std::optional(static_cast<char>(*byte)) : std::nullopt;
}

std::optional<std::string> TakeText(std::string_view* text) {
  if (!Take("\"", text)) return std::nullopt;
  std::string value;
  while (!text->empty()) {
    if (Take("\"", text)) return value;
    std::optional<char> byte = text->front();
    text->remove_prefix(1);
    if (byte == '\\') byte = TakeEscaped(text);
    if (!byte) return std::nullopt;
    value += *byte;
  }
  return std::nullopt;
}

std::optional<std::vector<std::string>> TakeTexts(std::string_view* text) {
  if (!Take("[", text)) return std::nullopt;
  std::vector<std::string> values;
  while (!Take("]", text)) {
    if (!values.empty() && !Take(" ", text)) return std::nullopt;
    std::optional<std::string> value = TakeText(text);
    if (!value) return std::nullopt;
    values.push_back(std::move(*value));
  }
  return values;
}

std::optional<std::vector<unsigned char>> TakeData(std::string_view* text) {
  if (!Take("<", text)) return std::nullopt;
  std::vector<unsigned char> data;
  while (!Take(">", text)) {
    const auto byte = TakeDigits(text);
    if (!byte) return std::nullopt;
    data.push_back(*byte);
  }
  return data;
}

std::optional<PreferenceValue> ParsedValue(std::string_view text) {
  std::optional<PreferenceValue> value;
  if (text.starts_with('[')) {
    value = TakeTexts(&text);
  } else if (text.starts_with('<')) {
    value = TakeData(&text);
  } else {
    value = TakeText(&text);
  }
  return text.empty() ? std::move(value) : std::nullopt;
}

bool ParseLine(std::string_view line, PreferenceValues* values) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return false;
  std::optional<std::string> key = PlainKey(line.substr(0, equals));
  std::optional<PreferenceValue> value = ParsedValue(line.substr(equals + 1));
  if (!key || !value) return false;
  return values->insert_or_assign(std::move(*key), std::move(*value)).second;
}

struct ValueWriter {
  std::string* text;

  void operator()(const std::string& value) const { AppendText(value, text); }
  void operator()(const std::vector<std::string>& values) const {
    *text += '[';
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (i != 0) *text += ' ';
      AppendText(values[i], text);
    }
    *text += ']';
  }
  void operator()(const std::vector<unsigned char>& data) const {
    *text += '<';
    for (const unsigned char byte : data) AppendDigits(byte, text);
    *text += '>';
  }
};

}  // namespace

ParsedPreferences ParsePreferences(std::string_view text) {
  ParsedPreferences parsed;
  bool is_in_group = false;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    if (line.empty()) continue;
    if (line.starts_with('[')) {
      is_in_group = line == kGroup;
      parsed.is_whole &= is_in_group;
    } else {
      parsed.is_whole &= is_in_group && ParseLine(line, &parsed.values);
    }
  }
  return parsed;
}

std::string FormatPreferences(const PreferenceValues& values) {
  std::string text(kGroup);
  text += '\n';
  for (const auto& [key, value] : values) {
    text += EscapedKey(key) + '=';
    std::visit(ValueWriter{&text}, value);
    text += '\n';
  }
  return text;
}

}  // namespace platform

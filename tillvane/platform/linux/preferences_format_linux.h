#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// \file
/// The text of a file of preferences.
///
/// It is a key file as GLib reads it, one group with a line for each key; the kind of a value is told by how it begins:
///
///     [Preferences]
///     KEY="TEXT"
///     KEY=["TEXT" "TEXT"]
///     KEY=<DATA>
///
/// A key has letters, digits, '-', '.' and '_' as they are and every other byte as '%' and two digits. A text has '\'
/// before '"' and '\', and '\x' and two digits for control characters; its other bytes are as they are, so that any
/// text comes back, also one that is not UTF-8. Data is two digits a byte. The digits are hexadecimal, with small
/// letters. Every value has an end of its own, so that one that was cut short is told from a shorter one.

namespace platform {

using PreferenceValue = std::variant<std::string, std::vector<std::string>, std::vector<unsigned char>>;
using PreferenceValues = std::map<std::string, PreferenceValue, std::less<>>;

struct ParsedPreferences {
  PreferenceValues values;
  bool is_whole = true;  ///< false when the text also holds what FormatPreferences() would not give back
};

/// Reads every line that can be read, whatever the others are. Of two lines of one key the last one counts.
ParsedPreferences ParsePreferences(std::string_view text);

/// \return plain lines, in the order of the keys
std::string FormatPreferences(const PreferenceValues& values);

}  // namespace platform

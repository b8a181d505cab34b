#pragma once

#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include <tillvane/platform/native_types.h>

/// \file
/// The preferences and the granted URLs as a test wants them: scripted_grants.cpp stands in for the system's. For tests
/// that are linked with the archive of the library's objects.

namespace support {

using Bytes = std::vector<unsigned char>;
using Texts = std::vector<std::string>;
using Value = std::variant<std::string, Texts, Bytes>;

/// What the system answers, and what it was told. There is one at a time.
struct ScriptedGrants {
  ScriptedGrants();
  ~ScriptedGrants();
  ScriptedGrants(const ScriptedGrants&) = delete;
  ScriptedGrants& operator=(const ScriptedGrants&) = delete;

  /// A URL with one reference.
  LPlatformURL* Grant(const std::string& path);
  int ReferencesOf(LPlatformURL* url) const;

  /// What has been told since the last time, one after the other.
  Texts TakeCalls();

  /// The bookmark of a path.
  static Bytes Bookmark(const std::string& path);
  /// One that resolves to nothing, without an error. Any other bytes are an error.
  static Bytes Neither();

  std::map<std::string, Value> preferences;
  bool can_read = true;  ///< Otherwise there is no value.
  bool can_synchronize = true;
  bool knows_access = true;                ///< Have URLs such a thing?
  std::set<std::string> without_bookmark;  ///< paths
  bool keeps_calls = true;                 ///< That takes memory.
  Texts calls;
  int urls = 0;            ///< that are alive
  int resolving = 0;       ///< begun and not ended
  int resolved_alone = 0;  ///< bookmarks, outside of that
};

}  // namespace support

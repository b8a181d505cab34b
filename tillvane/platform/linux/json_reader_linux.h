#pragma once

/// \file
/// Reads JSON in one pass and says where each value stands. All text is UTF-8; an offset counts the bytes before.

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

enum class JsonKind { kObject, kList, kText, kFlag, kNumber, kNull };

/// A value that holds no others.
struct JsonValue {
  JsonKind kind;
  std::size_t offset;  ///< where it begins
  std::string text;
  bool flag = false;
  double number = 0;
};

/// Is told what a text holds, in its order. Each function answers whether to read on: `return Fail(…)` stops it.
class JsonListener {
 public:
  virtual bool Begin(JsonKind kind, std::size_t offset) = 0;  ///< of an object or a list
  virtual bool Key(std::string key) = 0;                      ///< of the value that follows
  virtual bool Take(JsonValue value) = 0;
  virtual bool End() = 0;  ///< of the innermost object or list

  bool Fail(std::size_t offset, std::string what);
  std::size_t ErrorOffset() const { return error_offset_; }
  const std::string& Error() const { return error_; }

 protected:
  ~JsonListener() = default;

 private:
  std::size_t error_offset_ = 0;
  std::string error_;
};

/// Reads one JSON value, after a byte order mark if there is one. Uses no recursion, and memory for one key or value.
/// \return false when the text is not JSON, is nested deeper than `depth`, or the listener has failed: it has the error
bool ReadJson(std::string_view text, std::size_t depth, JsonListener& listener);

/// "LINE:COLUMN" of an offset, both from 1, columns in characters.
std::string PlaceInText(std::string_view text, std::size_t offset);

}  // namespace platform

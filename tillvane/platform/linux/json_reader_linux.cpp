#include <tillvane/platform/linux/json_reader_linux.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include <nlohmann/json.hpp>

namespace platform {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// What the library says is wrong, without its own idea of the place and without the text that it has read.
std::string SyntaxError(const nlohmann::json::exception& exception) {
  constexpr int kOutOfRange = 406;
  if (exception.id == kOutOfRange) return "number out of range";
  std::string_view what = exception.what();
  what = what.substr(0, what.find("; last read"));
  const std::size_t start = what.find("syntax error");
  return start == std::string_view::npos ? "not JSON" : std::string(what.substr(start));
}

/// Tells how far the library has read.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, const char** reached) : at_(at), reached_(reached) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    *reached_ = ++at_;
    return *this;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
  bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  const char** reached_;
};

/// Passes on what the library announces, and adds where it stands. Its public functions have the names that the library
/// calls; false stops it.
class Announcer {
 public:
  Announcer(std::string_view text, std::size_t depth, JsonListener& listener)
      : text_(text),
        depth_(depth),
        listener_(listener),
        reached_(text.data()),
        read_to_(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0) {}

  bool Read();

  bool null() { return Take(JsonKind::kNull); }
  bool boolean(bool value) { return Take(JsonKind::kFlag, {}, value); }
  bool number_integer(std::int64_t value) { return TakeNumber(static_cast<double>(value)); }
  bool number_unsigned(std::uint64_t value) { return TakeNumber(static_cast<double>(value)); }
  bool number_float(double value, const std::string&) { return TakeNumber(value); }
  bool string(std::string& value) { return Take(JsonKind::kText, std::move(value)); }
  bool binary(nlohmann::json::binary_t&) { return false; }
  bool start_object(std::size_t) { return Begin(JsonKind::kObject); }
  bool start_array(std::size_t) { return Begin(JsonKind::kList); }
  bool key(std::string& key);
  bool end_object() { return End(); }
  bool end_array() { return End(); }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& exception);

 private:
  std::size_t NextOffset();
  bool Begin(JsonKind kind);
  bool End();
  bool Take(JsonKind kind, std::string text = {}, bool flag = false, double number = 0);
  bool TakeNumber(double number) { return Take(JsonKind::kNumber, {}, false, number); }

  std::string_view text_;
  std::size_t depth_;
  JsonListener& listener_;
  const char* reached_;         ///< the end of what the library has read
  std::size_t read_to_;         ///< the same at the last announcement
  std::size_t open_count_ = 0;  ///< objects and lists that have not ended
};

bool Announcer::Read() {
  // The library takes a zero byte for the end of the text.
  if (const std::size_t zero = text_.find('\0'); zero != std::string_view::npos) {
    return listener_.Fail(zero, "a zero byte: this is not UTF-8 text");
  }
  const CountingIterator begin(text_.data(), &reached_);
  const CountingIterator end(text_.data() + text_.size(), &reached_);
  return nlohmann::json::sax_parse(begin, end, this);
}

/// Where the announced value begins: after the one before it there are only spaces and separators. (The library reads
/// one character past a number; that can only be one of those, or a bracket that ends what the number stands in.)
std::size_t Announcer::NextOffset() {
  const std::size_t offset = std::min(text_.find_first_not_of(" \t\r\n,:", read_to_), text_.size());
  read_to_ = static_cast<std::size_t>(reached_ - text_.data());
  return offset;
}

bool Announcer::Begin(JsonKind kind) {
  const std::size_t offset = NextOffset();
  if (open_count_ == depth_) {
    return listener_.Fail(offset, "nested more than " + std::to_string(depth_) + " levels deep");
  }
  ++open_count_;
  return listener_.Begin(kind, offset);
}

bool Announcer::End() {
  NextOffset();
  --open_count_;
  return listener_.End();
}

bool Announcer::Take(JsonKind kind, std::string text, bool flag, double number) {
  return listener_.Take({kind, NextOffset(), std::move(text), flag, number});
}

bool Announcer::key(std::string& key) {
  NextOffset();
  return listener_.Key(std::move(key));
}

bool Announcer::parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& exception) {
  // The position counts the characters up to the one at which the library gave up, which may be the end of the text.
  return listener_.Fail(std::min(position - std::min<std::size_t>(position, 1), text_.size()), SyntaxError(exception));
}

}  // namespace

bool JsonListener::Fail(std::size_t offset, std::string what) {
  error_offset_ = offset;
  error_ = std::move(what);
  return false;
}

bool ReadJson(std::string_view text, std::size_t depth, JsonListener& listener) {
  return Announcer(text, depth, listener).Read();
}

std::string PlaceInText(std::string_view text, std::size_t offset) {
  std::string_view before = text.substr(0, offset);
  if (before.starts_with(kByteOrderMark)) before.remove_prefix(kByteOrderMark.size());
  const auto lines = std::count(before.begin(), before.end(), '\n');
  const std::string_view line = before.substr(before.rfind('\n') + 1);
  const auto column = line.size() - static_cast<std::size_t>(std::count_if(line.begin(), line.end(), IsContinuation));
  return std::to_string(lines + 1) + ':' + std::to_string(column + 1);
}

}  // namespace platform

#include <tillvane/platform/string_array.h>

#include <cstddef>
#include <iterator>
#include <map>
#include <unordered_map>
#include <utility>

/// Each text under its number, which only grows, and the numbers of each text. An index looks into the texts, which do
/// not move.
struct LPlatformStringArray::Texts {
  std::map<std::size_t, std::string> by_number;
  std::unordered_multimap<std::string_view, std::size_t> numbers;
  std::size_t next = 0;
};

LPlatformStringArray::LPlatformStringArray() : texts_(std::make_unique<Texts>()) {}

LPlatformStringArray::~LPlatformStringArray() = default;

void LPlatformStringArray::Append(std::string_view text) {
  const auto place = texts_->by_number.emplace_hint(texts_->by_number.end(), texts_->next, text);
  try {
    texts_->numbers.emplace(place->second, texts_->next);
  } catch (...) {
    texts_->by_number.erase(place);
    throw;
  }
  ++texts_->next;
}

bool LPlatformStringArray::Contains(std::string_view text) const {
  return texts_->numbers.find(text) != texts_->numbers.end();
}

void LPlatformStringArray::Remove(std::string_view text) {
  const auto [first, last] = texts_->numbers.equal_range(text);
  std::map<std::size_t, std::string> removed;
  // They go last: the index still looks into them, and so may the caller's text.
  for (auto place = first; place != last; ++place) removed.insert(texts_->by_number.extract(place->second));
  texts_->numbers.erase(first, last);
}

unsigned LPlatformStringArray::Count() const { return static_cast<unsigned>(texts_->by_number.size()); }

const char* LPlatformStringArray::At(unsigned place) const {
  return place < Count() ? std::next(texts_->by_number.begin(), place)->second.c_str() : nullptr;
}

std::vector<std::string> LPlatformStringArray::All() const {
  std::vector<std::string> all;
  all.reserve(texts_->by_number.size());
  for (const auto& [number, text] : texts_->by_number) all.push_back(text);
  return all;
}

namespace platform {

LPlatformStringArray* CreateStringArray() { return new LPlatformStringArray; }

void ReleaseStringArray(LPlatformStringArray* array) { delete array; }

void AppendString(LPlatformStringArray* array, std::string_view text) { array->Append(text); }

bool ContainsString(LPlatformStringArray* array, std::string_view text) { return array->Contains(text); }

void RemoveString(LPlatformStringArray* array, std::string_view text) { array->Remove(text); }

std::vector<std::string> StringsOf(LPlatformStringArray* array) { return array->All(); }

}  // namespace platform

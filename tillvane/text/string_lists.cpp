// A line of items:
//
//   line   = item *( "," item ) end
//   end    = NUL | LF | CR                        not read
//   item   = *( plain | space | quoted )
//   quoted = '"' *inner ( '"' | before end )      the quotes are not kept
//   plain  = any byte but "," '"' space and end
//   inner  = any byte but '"' and end
//
// The spaces of an item that come before anything else is kept, and those after all else, are not part of it; the
// spaces of a quoted part are. Two quotes in a row are an empty quoted part: they vanish and never stand for a quote.

#include <algorithm>
#include <array>

#include <tillvane/text/LStringLists.h>

namespace {

/// What a byte is to a line; the last two also end what is inside quotes.
enum Kind : unsigned char { kPlain, kSpace, kComma, kQuote, kEnd };

constexpr std::array<Kind, 256> kKinds = [] {
  std::array<Kind, 256> kinds{};
  kinds[' '] = kSpace;
  kinds[','] = kComma;
  kinds['"'] = kQuote;
  kinds['\0'] = kinds['\n'] = kinds['\r'] = kEnd;
  return kinds;
}();

/// Most bytes need no look into the table, which would tell later where an item ends.
bool IsSurelyPlain(char c) { return static_cast<unsigned char>(c) > ','; }
static_assert(std::all_of(kKinds.begin() + ',' + 1, kKinds.end(), [](Kind kind) { return kind == kPlain; }));

Kind KindOf(char c) { return kKinds[static_cast<unsigned char>(c)]; }

/// An item in the caller's buffer, cut to the room that there is.
class Item {
 public:
  Item(char* buffer, unsigned long size)
      : begin_(buffer), room_end_(size > 0 ? buffer + size - 1 : buffer), has_terminator_(size > 0) {}

  void Add(char c) {
    Store(c);
    without_spaces_ = end_;
  }

  /// Adds the bytes that begin here and are surely plain. \return their end
  const char* AddPlain(const char* at) {
    if (!IsSurelyPlain(*at)) return at;
    do {
      Store(*at++);
    } while (IsSurelyPlain(*at));
    without_spaces_ = end_;
    return at;
  }

  /// A space outside quotes: dropped before all else, and at the end if nothing comes after it.
  void AddSpace() {
    if (end_ != begin_) Store(' ');
  }

  /// Cuts the spaces at the end. \return whether there is anything
  bool Finish() {
    if (has_terminator_) *without_spaces_ = '\0';
    return without_spaces_ != begin_;
  }

 private:
  void Store(char c) {
    if (end_ != room_end_) *end_++ = c;
  }

  char *begin_, *room_end_;
  char *end_ = begin_, *without_spaces_ = begin_;
  bool has_terminator_;
};

}  // namespace

bool GetCSVListItem(const char* text, unsigned long& position, char* item, unsigned long itemSize) {
  Item kept(item, itemSize);
  if (text == nullptr) return kept.Finish();
  const char* at = text + position;
  for (;; ++at) {
    at = kept.AddPlain(at);
    const Kind kind = KindOf(*at);
    if (kind == kPlain) {
      kept.Add(*at);
    } else if (kind == kSpace) {
      kept.AddSpace();
    } else if (kind == kQuote) {
      for (++at; KindOf(*at) < kQuote; ++at) kept.Add(*at);
      if (*at != '"') break;
    } else {
      break;
    }
  }
  position = static_cast<unsigned long>(at - text) + (*at == ',' ? 1 : 0);
  return kept.Finish();
}

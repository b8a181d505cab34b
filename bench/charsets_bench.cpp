#include <iconv.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <tillvane/text/LCharsets.h>

#include "families.h"

namespace bench {

namespace {

// --- Texts ---

struct Language {
  const char* name;
  const char* sample;
};

constexpr Language kLanguages[] = {
    {"ASCII", "The quick brown fox jumps over the lazy dog, while 12 others watch it from the hedge. "},
    {"French",
     "L’année 1866 fut marquée par un événement bizarre, un phénomène inexpliqué et inexplicable que personne n’a sans "
     "doute oublié. Sans parler des rumeurs qui agitaient les populations des ports et surexcitaient l’esprit public à "
     "l’intérieur des continents, les gens de mer furent particulièrement émus. "},
    {"Japanese",
     "吾輩は猫である。名前はまだ無い。どこで生れたかとんと見当がつかぬ。何でも薄暗いじめじめした所で"
     "ニャーニャー泣いていた事だけは記憶している。"},
    {"emoji",
     "😀😃😄😁😆😅🤣😂🙂🙃😉😊😇🥰😍🤩"
     "😘😗😚😙🥲😋😛😜🤪😝🤑🤗🤭🤫🤔🤐"},
};

struct Size {
  const char* name;
  std::size_t bytes;
};

constexpr std::size_t kGoalSize = 4096;
constexpr Size kSizes[] = {{"64 B", 64}, {"4 KiB", kGoalSize}, {"1 MiB", 1u << 20}};

/// A text in all its forms. The peers get lengths, ours find the terminators themselves.
struct Text {
  std::string utf8;
  std::vector<wchar_t> wide;
  std::vector<unsigned short> units;
};

Text MakeText(const Language& language, std::size_t bytes) {
  std::string repeated;
  while (repeated.size() < bytes) repeated += language.sample;
  Text text;
  text.utf8.resize(bytes + 1);
  text.utf8.resize(utf8strlcpy(text.utf8.data(), repeated.c_str(), bytes + 1));
  text.wide.resize(bytes + 1);
  LCopyUTF32FromUTF8(text.wide.data(), text.utf8.c_str(), bytes + 1);
  text.wide.resize(std::wcslen(text.wide.data()) + 1);
  // With surrogates: everybody gets a text that is well-formed.
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  std::u16string utf16(bytes + 1, u'\0');
  u_strFromUTF8(utf16.data(), static_cast<int32_t>(utf16.size()), &length, text.utf8.data(),
                static_cast<int32_t>(text.utf8.size()), &status);
  text.units.assign(utf16.begin(), utf16.begin() + length + 1);
  return text;
}

int32_t Length(std::size_t size) { return static_cast<int32_t>(size); }

std::size_t WideLength(const Text& text) { return text.wide.size() - 1; }
std::size_t UnitLength(const Text& text) { return text.units.size() - 1; }

// --- What converts, each with Run() ---

/// UTF-8 is at most so many bytes for a unit of any form.
constexpr std::size_t kMostBytes = 4;

class OurToWide {
 public:
  explicit OurToWide(const Text& text) : text_(text), wide_(text.utf8.size() + 1) {}
  bool Run() { return LCopyUTF32FromUTF8(wide_.data(), text_.utf8.c_str(), wide_.size()) == 0; }

 private:
  const Text& text_;
  std::vector<wchar_t> wide_;
};

class OurFromWide {
 public:
  explicit OurFromWide(const Text& text) : text_(text), utf8_(text.utf8.size() + 1, '\0') {}
  bool Run() { return LCopyUTF8FromUTF32(utf8_.data(), text_.wide.data(), utf8_.size()) == 0; }

 private:
  const Text& text_;
  std::string utf8_;
};

class OurToUnits {
 public:
  explicit OurToUnits(const Text& text) : text_(text), units_(text.utf8.size() + 1) {}
  bool Run() {
    LCopyUnicodeFromUTF8(units_.data(), text_.utf8.c_str(), units_.size());
    return units_[0] != 0;
  }

 private:
  const Text& text_;
  std::vector<unsigned short> units_;
};

class OurFromUnits {
 public:
  explicit OurFromUnits(const Text& text) : text_(text), utf8_(text.units.size() * kMostBytes, '\0') {}
  bool Run() {
    LCopyUTF8FromUnicode(utf8_.data(), text_.units.data(), utf8_.size());
    return utf8_[0] != '\0';
  }

 private:
  const Text& text_;
  std::string utf8_;
};

/// A descriptor that is opened once.
class Iconv {
 public:
  Iconv(const char* to, const char* from, const void* source, std::size_t bytes, std::size_t room)
      : descriptor_(iconv_open(to, from)), source_(static_cast<const char*>(source)), bytes_(bytes), target_(room, 0) {}
  ~Iconv() { iconv_close(descriptor_); }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;
  bool Run() {
    char* from = const_cast<char*>(source_);
    char* to = target_.data();
    std::size_t left = bytes_, room = target_.size();
    return iconv(descriptor_, &from, &left, &to, &room) == 0;
  }

 private:
  iconv_t descriptor_;
  const char* source_;
  std::size_t bytes_;
  std::vector<char> target_;
};

struct IconvToWide : Iconv {
  explicit IconvToWide(const Text& text)
      : Iconv("WCHAR_T", "UTF-8", text.utf8.data(), text.utf8.size(), text.utf8.size() * sizeof(wchar_t)) {}
};
struct IconvFromWide : Iconv {
  explicit IconvFromWide(const Text& text)
      : Iconv("UTF-8", "WCHAR_T", text.wide.data(), WideLength(text) * sizeof(wchar_t), text.utf8.size()) {}
};
struct IconvToUnits : Iconv {
  explicit IconvToUnits(const Text& text)
      : Iconv("UTF-16LE", "UTF-8", text.utf8.data(), text.utf8.size(), text.utf8.size() * 2) {}
};
struct IconvFromUnits : Iconv {
  explicit IconvFromUnits(const Text& text)
      : Iconv("UTF-8", "UTF-16LE", text.units.data(), UnitLength(text) * 2, text.utf8.size()) {}
};

/// ICU's two functions through UTF-16; Run() answers whether there was no error.
class IcuToWide {
 public:
  explicit IcuToWide(const Text& text) : text_(text), units_(text.utf8.size()), wide_(text.utf8.size()) {}
  bool Run() {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8(units_.data(), Length(units_.size()), &length, text_.utf8.data(), Length(text_.utf8.size()), &status);
    u_strToUTF32(wide_.data(), Length(wide_.size()), nullptr, units_.data(), length, &status);
    return U_SUCCESS(status);
  }

 private:
  const Text& text_;
  std::vector<UChar> units_;
  std::vector<UChar32> wide_;
};

class IcuWithSubToWide {
 public:
  explicit IcuWithSubToWide(const Text& text) : text_(text), units_(text.utf8.size()), wide_(text.utf8.size()) {}
  bool Run() {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8WithSub(units_.data(), Length(units_.size()), &length, text_.utf8.data(), Length(text_.utf8.size()),
                         0xFFFD, nullptr, &status);
    u_strToUTF32WithSub(wide_.data(), Length(wide_.size()), nullptr, units_.data(), length, 0xFFFD, nullptr, &status);
    return U_SUCCESS(status);
  }

 private:
  const Text& text_;
  std::vector<UChar> units_;
  std::vector<UChar32> wide_;
};

class IcuFromWide {
 public:
  explicit IcuFromWide(const Text& text) : text_(text), units_(text.units.size()), utf8_(text.utf8.size(), '\0') {}
  bool Run() {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF32(units_.data(), Length(units_.size()), &length, reinterpret_cast<const UChar32*>(text_.wide.data()),
                   Length(WideLength(text_)), &status);
    u_strToUTF8(utf8_.data(), Length(utf8_.size()), nullptr, units_.data(), length, &status);
    return U_SUCCESS(status);
  }

 private:
  const Text& text_;
  std::vector<UChar> units_;
  std::string utf8_;
};

class IcuToUnits {
 public:
  explicit IcuToUnits(const Text& text) : text_(text), units_(text.utf8.size()) {}
  bool Run() {
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(units_.data(), Length(units_.size()), nullptr, text_.utf8.data(), Length(text_.utf8.size()), &status);
    return U_SUCCESS(status);
  }

 private:
  const Text& text_;
  std::vector<UChar> units_;
};

class IcuFromUnits {
 public:
  explicit IcuFromUnits(const Text& text) : text_(text), utf8_(text.utf8.size(), '\0') {}
  bool Run() {
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(utf8_.data(), Length(utf8_.size()), nullptr, reinterpret_cast<const UChar*>(text_.units.data()),
                Length(UnitLength(text_)), &status);
    return U_SUCCESS(status);
  }

 private:
  const Text& text_;
  std::string utf8_;
};

/// ICU's converters, opened once.
class IcuConverters {
 public:
  IcuConverters(const char* to, const char* from, const void* source, std::size_t bytes, std::size_t room)
      : source_(static_cast<const char*>(source)), bytes_(bytes), target_(room, 0), pivot_(1024) {
    UErrorCode status = U_ZERO_ERROR;
    to_ = ucnv_open(to, &status);
    from_ = ucnv_open(from, &status);
  }
  ~IcuConverters() {
    ucnv_close(to_);
    ucnv_close(from_);
  }
  IcuConverters(const IcuConverters&) = delete;
  IcuConverters& operator=(const IcuConverters&) = delete;
  bool Run() {
    UErrorCode status = U_ZERO_ERROR;
    const char* from = source_;
    char* to = target_.data();
    UChar* begin = pivot_.data();
    UChar* end = pivot_.data();
    ucnv_convertEx(to_, from_, &to, to + target_.size(), &from, from + bytes_, pivot_.data(), &begin, &end,
                   pivot_.data() + pivot_.size(), true, true, &status);
    return U_SUCCESS(status);
  }

 private:
  UConverter *to_, *from_;
  const char* source_;
  std::size_t bytes_;
  std::vector<char> target_;
  std::vector<UChar> pivot_;
};

struct ConvertersToWide : IcuConverters {
  explicit ConvertersToWide(const Text& text)
      : IcuConverters("UTF-32LE", "UTF-8", text.utf8.data(), text.utf8.size(), text.utf8.size() * sizeof(wchar_t)) {}
};
struct ConvertersFromWide : IcuConverters {
  explicit ConvertersFromWide(const Text& text)
      : IcuConverters("UTF-8", "UTF-32LE", text.wide.data(), WideLength(text) * sizeof(wchar_t), text.utf8.size()) {}
};

class OurCount {
 public:
  explicit OurCount(const Text& text) : text_(text) {}
  bool Run() { return utf8strlen(text_.utf8.c_str()) == WideLength(text_); }

 private:
  const Text& text_;
};

/// Looks at the same bytes, for something that is not there.
class Memchr {
 public:
  explicit Memchr(const Text& text) : text_(text) {}
  bool Run() { return std::memchr(text_.utf8.data(), 0, text_.utf8.size()) == nullptr; }

 private:
  const Text& text_;
};

// --- Comparisons ---

template <class Converter>
Body Runs(const Text& text) {
  return [&text](benchmark::State& state) {
    Converter converter(text);
    for (auto _ : state) {
      if (!converter.Run()) state.SkipWithError("it refused the text");
      benchmark::ClobberMemory();
    }
  };
}

/// What a text may take of the best peer's time, for each of kLanguages.
struct Targets {
  double of_languages[4];
};

}  // namespace

void RunCharsetsFamily(const Options& options, Results* results) {
  PrintHead("charsets");
  for (const Size& size : kSizes) {
    for (std::size_t i = 0; i < std::size(kLanguages); ++i) {
      const Text text = MakeText(kLanguages[i], size.bytes);
      const std::string suffix = std::string(", ") + kLanguages[i].name + ", " + size.name;
      const auto goal = [&](const Targets& targets) { return size.bytes == kGoalSize ? targets.of_languages[i] : 0; };
      const double to_wide = goal({0.15, 0.6, 0.4, 0.6}), from_wide = goal({0.1, 0.5, 0.4, 0.5});
      const double count = goal({8, 8, 8, 8});
      const auto measure = [&](const char* what, const char* ours, const Body& body, std::vector<Peer> peers) {
        Measure({what + suffix, {Clock::kThread}, ours, body, std::move(peers), 1, 0.01}, options, results);
      };
      measure("UTF-8 to UTF-32", "LCopyUTF32FromUTF8", Runs<OurToWide>(text),
              {{"iconv", Runs<IconvToWide>(text), to_wide},
               {"ICU: u_strFromUTF8, u_strToUTF32", Runs<IcuToWide>(text), to_wide},
               {"ICU: the same, replacing what is wrong", Runs<IcuWithSubToWide>(text), to_wide},
               {"ICU: ucnv_convertEx", Runs<ConvertersToWide>(text), to_wide}});
      measure("UTF-32 to UTF-8", "LCopyUTF8FromUTF32", Runs<OurFromWide>(text),
              {{"iconv", Runs<IconvFromWide>(text), from_wide},
               {"ICU: u_strFromUTF32, u_strToUTF8", Runs<IcuFromWide>(text), from_wide},
               {"ICU: ucnv_convertEx", Runs<ConvertersFromWide>(text), from_wide}});
      measure("UTF-8 to 16-bit units", "LCopyUnicodeFromUTF8", Runs<OurToUnits>(text),
              {{"iconv", Runs<IconvToUnits>(text)}, {"ICU: u_strFromUTF8", Runs<IcuToUnits>(text)}});
      measure("16-bit units to UTF-8", "LCopyUTF8FromUnicode", Runs<OurFromUnits>(text),
              {{"iconv", Runs<IconvFromUnits>(text)}, {"ICU: u_strToUTF8", Runs<IcuFromUnits>(text)}});
      measure("characters of UTF-8", "utf8strlen", Runs<OurCount>(text), {Limit("memchr", Runs<Memchr>(text), count)});
    }
  }
}

}  // namespace bench

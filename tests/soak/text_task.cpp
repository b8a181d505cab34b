#include <unistd.h>

#include <array>
#include <cwchar>

#include "files.h"
#include "tasks.h"

namespace soak {

namespace {

/// Of one, two, three and four bytes.
constexpr const char* kUtf8 = "plain \u00e9\u00fc \u20ac\u65e5\u672c \U0001F600 end";
constexpr const char* kWestern = "caf\u00e9 \u00fcber";

class TextTask final : public Task {
 public:
  explicit TextTask(const std::string& folder) : file_(folder + "/text") {
    std::filesystem::create_directories(folder);
  }

  void Round(LProcessInterface&) override {
    for (int i = 0; i < 50; ++i) {
      Format(i);
      Convert();
      ConvertWestern();
      TakeApart();
      Escape();
    }
    SaveAndLoad();
  }

 private:
  static void Format(int number) {
    LStringLong text;
    sprintf(text, "%s %05d %x %.3f %c%%", "name", number, number, number / 8.0, 'c');
    std::array<char, 128> expected;
    std::snprintf(expected.data(), expected.size(), "%s %05d %x %.3f %c%%", "name", number,
                  static_cast<unsigned int>(number), number / 8.0, 'c');
    Require(std::string(text.c_str()) == expected.data(), "formatted text is what printf writes");
    for (int i = 0; i < 40; ++i) tsprintfappend(text, " and %d more", i);
    text.Append(" end");
    LStringLong other;
    other = text.c_str();
    Require(tstrcmpend(other.c_str(), "and 39 more end") == 0 && other.size() == text.size(), "text grows");
  }

  static void Convert() {
    std::array<wchar_t, 128> wide;
    std::array<char, 128> narrow;
    Require(LCopyUTF32FromUTF8(wide.data(), kUtf8, wide.size()) == 0, "UTF-8 is converted to UTF-32");
    Require(LCopyUTF8FromUTF32(narrow.data(), wide.data(), narrow.size()) == 0, "UTF-32 is converted to UTF-8");
    Require(std::string(narrow.data()) == kUtf8, "UTF-8 is what it was");
    Require(utf8strlen(kUtf8) == std::wcslen(wide.data()), "UTF-8 is measured in characters");
  }

  static void ConvertWestern() {
    LStringLong western, back, ansi;
    western = kWestern;
    LStringLongTemplate<unsigned short> units;
    LCopyUnicodeFromUTF8(units, western);
    LCopyUTF8FromUnicode(back, units);
    Require(std::string(back.c_str()) == kWestern, "16-bit units are converted there and back");
    LCopyAnsiFromUnicode(ansi, units);
    Require(ansi.size() == utf8strlen(kWestern), "8-bit text has a byte for each character");
    LCopyUnicodeFromAnsi(units, ansi);
    LCopyUTF8FromUnicode(back, units);
    Require(std::string(back.c_str()) == kWestern, "8-bit text is converted back");
    std::array<char, 64> latin, utf8;
    LCopyToISO88591(latin.data(), kWestern, latin.size());
    LCopyFromISO88591(utf8.data(), latin.data(), utf8.size());
    Require(std::string(utf8.data()) == kWestern, "a code page is converted there and back");
  }

  static void TakeApart() {
    unsigned long position = 0;
    std::array<char, 32> item;
    Require(GetCSVListItem("one, \"two, too\",three", position, item.data(), item.size()), "a list has an item");
    GetCSVListItem("one, \"two, too\",three", position, item.data(), item.size());
    Require(std::string(item.data()) != "one", "a list has further items");
    Require(LStringFindTextField("<a>value</a>", "<a>", "</a>", item.data(), item.size()), "a field is found");
    Require(std::string(item.data()) == "value", "a field is what stands between its marks");
    LPrepareForMenuItem(item.data(), "&Open\tCtrl+O");
    Require(std::string(item.data()) == "Open", "a label is shown without its marks");
    Require(atoh("1fF") == 0x1ff, "hexadecimal digits are read");
  }

  static void Escape() {
    std::array<char, 64> buffer = {};
    LFixedLengthStringWriterTemplate<char> writer{buffer.data(), 0, buffer.size() - 1};
    LURIEncodeToWriterDirect(writer, "a b/\u00e9");
    Require(std::string(buffer.data()) == "a%20b%2F%C3%A9", "a URI's text is escaped");
  }

  void SaveAndLoad() const {
    LSaveText(file_.c_str(), kUtf8);
    LSaveAppendText(file_.c_str(), kWestern);
    LStringLong loaded;
    Require(LLoadText(file_.c_str(), loaded) == 1, "a text is loaded");
    Require(std::string(loaded.c_str()) == std::string(kUtf8) + kWestern, "a text is loaded as it was saved");
    LStringLong western;
    western = kWestern;
    Require(LSaveTextAsUnicodeBOM(file_.c_str(), western) == 0, "a text is saved as UTF-16");
    Require(LLoadTextAutoChar(file_.c_str(), loaded) == 1, "a text with a mark is loaded");
    Require(std::string(loaded.c_str()) == kWestern, "a text with a mark is loaded as it was saved");
    unlink(file_.c_str());
  }

  const std::string file_;
};

}  // namespace

std::unique_ptr<Task> MakeTextTask(const std::string& folder) { return std::make_unique<TextTask>(folder); }

}  // namespace soak

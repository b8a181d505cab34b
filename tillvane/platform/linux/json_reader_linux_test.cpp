#include <tillvane/platform/linux/json_reader_linux.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using platform::JsonKind;
using platform::PlaceInText;
using platform::ReadJson;

/// Writes down what it is told: `{3`, `key=`, a letter of the kind with its offset, `}`.
class Recorder : public platform::JsonListener {
 public:
  bool Begin(JsonKind kind, std::size_t offset) override { return Note(kind == JsonKind::kObject ? "{" : "[", offset); }
  bool Key(std::string key) override {
    record += key + "= ";
    return true;
  }
  bool Take(platform::JsonValue value) override {
    if (value.text == "stop") return Fail(value.offset, "stopped");
    return Note(std::string(1, "olTFN0"[static_cast<int>(value.kind)]), value.offset);
  }
  bool End() override {
    record += "} ";
    return true;
  }

  std::string record;

 private:
  bool Note(const std::string& what, std::size_t offset) {
    record += what + std::to_string(offset) + ' ';
    return true;
  }
};

TEST(JsonReader, SaysWhereEachValueBegins) {
  const struct {
    std::string_view text;
    const char* record;
  } cases[] = {
      {"{}", "{0 } "},
      {" \t\r\n[ ]", "[4 } "},
      {"\xEF\xBB\xBF{}", "{3 } "},
      {R"({"a":"b"})", "{0 a= T5 } "},
      {R"({ "a" : "\"[{,:" , "c" : [ ] })", "{0 a= T8 c= [25 } } "},
      {R"([1,2 , 3,"x"])", "[0 N1 N3 N7 T9 } "},
      {R"([[1],[-2.5e3],{"a":1},{"b":2}])", "[0 [1 N2 } [5 N6 } {14 a= N19 } {22 b= N27 } } "},
      {R"([true,false,null,"",0.5])", "[0 F1 F6 012 T17 N20 } "},
      {"[\"ä€😀\",1]", "[0 T1 N13 } "},
      {"12", "N0 "},
      {" null ", "01 "},
  };
  for (const auto& c : cases) {
    Recorder recorder;
    EXPECT_TRUE(ReadJson(c.text, 32, recorder)) << c.text << '\n' << recorder.Error();
    EXPECT_EQ(recorder.record, c.record) << c.text;
  }
}

TEST(JsonReader, GivesTheValues) {
  class Numbers final : public Recorder {
   public:
    bool Take(platform::JsonValue value) override {
      texts += value.text + (value.flag ? "!" : ".");
      sum += value.number;
      return true;
    }
    std::string texts;
    double sum = 0;
  } numbers;
  ASSERT_TRUE(ReadJson(R"(["\u00e4\n", true, false, 1, -3, 0.5, 18446744073709551615])", 32, numbers));
  EXPECT_EQ(numbers.texts, "ä\n.!.....");
  EXPECT_EQ(numbers.sum, 18446744073709551615.0 - 1.5);
}

TEST(JsonReader, ErrorsHavePlaces) {
  const struct {
    std::string_view text;
    std::size_t offset;
    const char* part;
  } cases[] = {
      {"", 0, "unexpected end of input"},
      {"\xEF\xBB\xBF", 3, "unexpected end of input"},
      {"\xEF\xBB", 2, "BOM"},
      {"{\n", 2, "unexpected end of input"},
      {"[1,]", 3, "unexpected ']'"},
      {"{} x", 3, "invalid literal"},
      {"{}{}", 2, "unexpected '{'"},
      {"[\"a\nb\"]", 3, "control character"},
      {"[\"\xFF\"]", 2, "UTF-8"},
      {"[\"\xED\xA0\x80\"]", 3, "UTF-8"},
      {"[1e400]", 5, "number out of range"},
      {std::string_view("[\0]", 3), 1, "zero byte"},
      {std::string_view("{}\0", 3), 2, "zero byte"},
      {"[1, \"stop\", ]", 4, "stopped"},
      {"// comment\n{}", 0, "invalid literal"},
      {"[NaN]", 1, "invalid literal"},
      {"\xFF\xFE", 0, "invalid literal"},
  };
  for (const auto& c : cases) {
    Recorder recorder;
    EXPECT_FALSE(ReadJson(c.text, 32, recorder)) << c.text;
    EXPECT_EQ(recorder.ErrorOffset(), c.offset) << c.text << '\n' << recorder.Error();
    EXPECT_NE(recorder.Error().find(c.part), std::string::npos) << c.text << '\n' << recorder.Error();
    EXPECT_EQ(recorder.Error().find("last read"), std::string::npos) << c.text << '\n' << recorder.Error();
  }
}

TEST(JsonReader, Depth) {
  for (const std::size_t depth : {0U, 1U, 2U, 32U}) {
    Recorder fits;
    EXPECT_TRUE(ReadJson(depth == 0 ? "1" : std::string(depth, '[') + std::string(depth, ']'), depth, fits)) << depth;
    Recorder deeper;
    EXPECT_FALSE(ReadJson(std::string(depth + 1, '[') + std::string(depth + 1, ']'), depth, deeper)) << depth;
    EXPECT_EQ(deeper.ErrorOffset(), depth);
    EXPECT_EQ(deeper.Error(), "nested more than " + std::to_string(depth) + " levels deep");
  }
  Recorder siblings;
  EXPECT_TRUE(ReadJson("[[],[],{},{}]", 2, siblings));
  Recorder hostile;
  EXPECT_FALSE(ReadJson(std::string(1'000'000, '['), 32, hostile));
  EXPECT_EQ(hostile.ErrorOffset(), 32U);
}

TEST(JsonReader, PlaceInText) {
  const struct {
    std::string_view text;
    std::size_t offset;
    const char* place;
  } cases[] = {
      {"", 0, "1:1"},       {"abc", 2, "1:3"},           {"abc", 3, "1:4"},           {"abc", 99, "1:4"},
      {"a\nbc", 1, "1:2"},  {"a\nbc", 2, "2:1"},         {"a\nbc", 3, "2:2"},         {"a\r\nbc", 4, "2:2"},
      {"\n\n\n", 3, "4:1"}, {"\xEF\xBB\xBFx", 3, "1:1"}, {"\xEF\xBB\xBFx", 4, "1:2"}, {"ä€😀x", 9, "1:4"},
  };
  for (const auto& c : cases) EXPECT_EQ(PlaceInText(c.text, c.offset), c.place) << c.text << " at " << c.offset;
}

}  // namespace

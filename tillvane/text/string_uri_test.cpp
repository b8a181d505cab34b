#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/text/LStringURI.h>

namespace {

using support::GuardedText;
using Writer = LFixedLengthStringWriterTemplate<char>;

/// What a writer of this capacity gets; behind it nothing is written.
std::string Encode(const char* text, unsigned int capacity) {
  GuardedText buffer(capacity);
  Writer writer{buffer.Get(), 0, capacity};
  LURIEncodeToWriterDirect<Writer>(writer, text);
  EXPECT_EQ(writer.buffer, buffer.Get());
  EXPECT_EQ(writer.capacity, capacity);
  EXPECT_EQ(buffer.Bytes().substr(writer.length), std::string(capacity - writer.length, GuardedText::kMark));
  return buffer.Bytes().substr(0, writer.length);
}

TEST(StringURI, Encodes) {
  struct Case {
    const char *text, *encoded;
  };
  const Case cases[] = {{"a b/\xC3\xA9", "a%20b%2F%C3%A9"},
                        {"", ""},
                        {nullptr, ""},
                        {"azAZ09-!._~", "azAZ09-!._~"},
                        {"\x7F\x80\xFF\x01", "%7F%80%FF%01"},
                        {"%20", "%2520"},
                        {"'()*+,;=:@&?#[]", "%27%28%29%2A%2B%2C%3B%3D%3A%40%26%3F%23%5B%5D"}};
  for (const Case& one : cases) EXPECT_EQ(Encode(one.text, 200), one.encoded) << (one.text != nullptr ? one.text : "");
}

TEST(StringURI, EveryByteHasItsForm) {
  const std::string kept = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-!._~";
  for (int c = 1; c < 256; ++c) {
    const char text[] = {static_cast<char>(c), '\0'};
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned int>(c));
    EXPECT_EQ(Encode(text, 10), kept.find(text[0]) != std::string::npos ? text : escape) << c;
  }
}

TEST(StringURI, EveryByteHasItsFormWithinALongText) {
  const std::string kept = "The-long_name.of!something~2024-and.of_nothing.else";
  for (int c = 1; c < 256; ++c) {
    const char one[] = {static_cast<char>(c), '\0'};
    const std::string form = Encode(one, 10);
    for (const std::size_t place : {0U, 7U, 15U, 16U, 31U, 46U}) {
      for (std::size_t length = 48; length <= kept.size(); ++length) {
        std::string text = kept.substr(0, length), expected = text;
        text[place] = one[0];
        expected.replace(place, 1, form);
        EXPECT_EQ(Encode(text.c_str(), 200), expected) << c << " at " << place;
      }
    }
  }
}

TEST(StringURI, AFullWriterMayEndWithinAnEscape) {
  const std::string texts[] = {"a b/\xC3\xA9",
                               "abcdefgh",
                               "      ",
                               " a b c d e",
                               "a",
                               std::string(24, ' '),
                               "a-long_name.that-needs_none(of.them)but here and-there"};
  for (const std::string& text : texts) {
    const std::string all = Encode(text.c_str(), 200);
    for (unsigned int capacity = 0; capacity <= all.size() + 5; ++capacity) {
      SCOPED_TRACE(text + ", " + std::to_string(capacity));
      EXPECT_EQ(Encode(text.c_str(), capacity), all.substr(0, capacity));
    }
  }
}

TEST(StringURI, AWriterGoesOnWhereItStands) {
  GuardedText buffer(8);
  Writer writer{buffer.Get(), 2, 7};
  LURIEncodeToWriterDirect(writer, "x");
  LURIEncodeToWriterDirect(writer, " y");
  EXPECT_EQ(writer.length, 7u);
  EXPECT_EQ(buffer.Bytes(), "kkx%20yk");
  LURIEncodeToWriterDirect(writer, "z");
  EXPECT_EQ(writer.length, 7u);
  // Beyond its end, where a caller has lowered the capacity.
  writer.capacity = 3;
  LURIEncodeToWriterDirect(writer, "z");
  EXPECT_EQ(writer.length, 7u);
  EXPECT_EQ(buffer.Bytes(), "kkx%20yk");
}

TEST(StringURI, RemovesAnItemOfAQuery) {
  struct Case {
    const char *key, *query, *result;
  };
  const Case cases[] = {{"b", "a=1&b=2&c=3", "a=1&c=3"},
                        {"c", "a=1&b=2&c=3", "a=1&b=2"},
                        {"a", "a=1&b=2", "&b=2"},
                        {"a", "a=1", ""},
                        {"a", "a=", ""},
                        {"a", "a=&b=2", "&b=2"},
                        {"x", "a=1&b=2", "a=1&b=2"},
                        {"a", "", ""},
                        {"a", "a", "a"},
                        {"b", "ab=1&b=2", "a&b=2"},
                        {"b", "x=1&ab=1&c=2", "x=1&a&c=2"},
                        {"b", "?b=1&c=2", "?&c=2"},
                        {"a", "&a=1&b=2", "&b=2"},
                        {"a", "&&a=1", "&"},
                        {"a", "a=1&a=2", "&a=2"},
                        {"a", "a=b=c&d=1", "&d=1"},
                        {"", "a=1&b=2", "a&b=2"},
                        {"a&b", "x&a&b=1&c=2", "x&c=2"},
                        {"%s", "a=1&%s=2", "a=1"},
                        {"\xC3\xA9", "a=1&\xC3\xA9=\xFF&b", "a=1&b"}};
  for (const Case& one : cases) {
    SCOPED_TRACE(std::string(one.key) + " of " + one.query);
    const std::string query = one.query;
    GuardedText buffer(query.size() + 1);
    query.copy(buffer.Get(), query.size());
    buffer.Get()[query.size()] = '\0';
    LRemoveHTTPItem(one.key, buffer.Get());
    EXPECT_EQ(buffer.Text(), one.result);
  }
}

TEST(StringURI, WhatIsBeforeAQueryIsNotItsOwn) {
  char text[] = "x&a=1";
  LRemoveHTTPItem("a", text + 2);
  EXPECT_STREQ(text, "x&");
}

TEST(StringURI, OfAKeyTheFirst261CharactersCount) {
  const auto remove = [](const std::string& key, std::string query) {
    LRemoveHTTPItem(key.c_str(), query.data());
    query.resize(std::strlen(query.c_str()));
    return query;
  };
  for (const std::size_t length : {259u, 260u}) {
    const std::string key(length, 'k');
    EXPECT_EQ(remove(key, "a=1&" + key + "=2&c=3"), "a=1&c=3") << length;
    EXPECT_EQ(remove(key, "a=1&" + key + "+2&c=3"), "a=1&" + key + "+2&c=3") << length;
  }
  const std::string key(261, 'k');
  EXPECT_EQ(remove(key, "a=1&" + key + "+2&c=3"), "a=1&c=3") << "there is no room for a '='";
  EXPECT_EQ(remove(key + "different", "a=1&" + key + "=2&c=3"), "a=1&c=3");
  EXPECT_EQ(remove(key, "a=1&" + key.substr(1) + "=2"), "a=1&" + key.substr(1) + "=2");
}

TEST(StringURI, WithoutAKeyOrAQueryNothingIsRemoved) {
  char query[] = "a=1";
  LRemoveHTTPItem(nullptr, query);
  EXPECT_STREQ(query, "a=1");
  LRemoveHTTPItem("a", nullptr);
}

}  // namespace

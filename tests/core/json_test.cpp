#include "core/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace orv {

namespace {

JsonValue Parsed(std::string_view text) {
  JsonValue value;
  EXPECT_TRUE(ParseJson(text, value)) << text;
  return value;
}

bool Parses(std::string_view text) {
  JsonValue value;
  return ParseJson(text, value);
}

std::string StringOf(std::string_view json_literal) { return Parsed(json_literal).text; }

TEST(JsonParse, DocumentBoundariesAndBlanks) {
  EXPECT_EQ(Parsed("  {}  ").kind, JsonKind::Object);
  EXPECT_EQ(Parsed("\t\r\n[ ]\n").kind, JsonKind::Array);
  EXPECT_FALSE(Parses("{} x"));
  EXPECT_FALSE(Parses(""));
  EXPECT_FALSE(Parses(" \t\r\n "));
  EXPECT_FALSE(Parses("\xEF\xBB\xBF{}"));  // a byte-order mark is not a blank
  EXPECT_FALSE(Parses("\f{}"));            // nor is form feed
  EXPECT_FALSE(Parses("nullx"));
  EXPECT_FALSE(Parses("[truex]"));
  EXPECT_EQ(Parsed("null").kind, JsonKind::Null);
  EXPECT_TRUE(Parsed("true").boolean);
  EXPECT_EQ(Parsed("false").kind, JsonKind::Bool);
}

TEST(JsonParse, CommasAndSeparatorsAreStrict) {
  for (const char* bad :
       {"[1,]", "{\"a\":1,}", "{,}", "[1 2]", "[,]", "{\"a\" 1}", "{1:2}", "[1", "{\"a\":1", "\"open", "{\"a\":}"}) {
    EXPECT_FALSE(Parses(bad)) << bad;
  }
}

TEST(JsonParse, DuplicateKeysAreKeptAndFindTakesTheFirst) {
  const JsonValue v = Parsed(R"({"a":1,"b":true,"a":2})");
  ASSERT_EQ(v.members.size(), 3u);
  EXPECT_EQ(v.members[0].key, "a");
  EXPECT_EQ(v.members[2].key, "a");
  EXPECT_EQ(v.members[2].value.number, 2.0);
  EXPECT_EQ(v.Find("a").number, 1.0);
  EXPECT_EQ(v.members[1].key, "b");  // document order
}

TEST(JsonFind, MissingAndNonObjectsGiveTheSharedNull) {
  const JsonValue object = Parsed(R"({"x":{"y":[1,2]},"s":"t"})");
  const JsonValue& missing = object.Find("nope");
  EXPECT_EQ(missing.kind, JsonKind::Null);
  EXPECT_EQ(&missing, &object.Find("x").Find("y").Find("z"));  // one shared Null
  EXPECT_EQ(&missing, &object.Find("s").Find("t"));
  EXPECT_EQ(&missing, &Parsed("[1]").Find("0"));
  EXPECT_EQ(object.Find("nope").Find("deeper").Find("still").kind, JsonKind::Null);
  // Key comparison is on length and bytes, not on a prefix.
  EXPECT_EQ(object.Find("").kind, JsonKind::Null);
  EXPECT_EQ(object.Find("xx").kind, JsonKind::Null);
}

TEST(JsonAccessors, AsIntTruncatesParsesOrFallsBack) {
  EXPECT_EQ(Parsed("1.9").AsInt(7), 1);
  EXPECT_EQ(Parsed("-1.9").AsInt(7), -1);
  EXPECT_EQ(Parsed("\"42\"").AsInt(7), 42);
  EXPECT_EQ(Parsed("\"12abc\"").AsInt(7), 12);
  EXPECT_EQ(Parsed("\"abc\"").AsInt(7), 0);
  EXPECT_EQ(Parsed("\" -3\"").AsInt(7), -3);
  EXPECT_EQ(Parsed("\"99999999999999999999\"").AsInt(7), INT64_MAX);
  EXPECT_EQ(Parsed("\"\"").AsInt(7), 7);
  EXPECT_EQ(Parsed("true").AsInt(7), 7);
  EXPECT_EQ(Parsed("null").AsInt(7), 7);
  EXPECT_EQ(Parsed("[1]").AsInt(7), 7);
  EXPECT_EQ(Parsed("{}").AsInt(7), 7);
  EXPECT_EQ(Parsed("1e300").AsInt(7), INT64_MAX);  // saturates instead of overflowing
}

TEST(JsonAccessors, AsStringOnlyForStrings) {
  EXPECT_EQ(Parsed("\"\"").AsString("d"), "");
  EXPECT_EQ(Parsed("\"x\"").AsString("d"), "x");
  EXPECT_EQ(Parsed("5").AsString("d"), "d");
  EXPECT_EQ(Parsed("null").AsString("d"), "d");
}

TEST(JsonParse, NumbersFollowStrtod) {
  EXPECT_EQ(Parsed("+5").number, 5.0);
  EXPECT_EQ(Parsed(".5").number, 0.5);
  EXPECT_EQ(Parsed("0x10").number, 16.0);
  EXPECT_EQ(Parsed("007").number, 7.0);
  EXPECT_TRUE(std::isnan(Parsed("nan").number));
  EXPECT_TRUE(std::isinf(Parsed("-inf").number));
  EXPECT_EQ(Parsed("[1e2]").items[0].number, 100.0);
  EXPECT_EQ(Parsed("-2.5").kind, JsonKind::Number);
  EXPECT_FALSE(Parses("-"));
  EXPECT_FALSE(Parses("x"));
}

TEST(JsonParse, EscapesAndUnicode) {
  EXPECT_EQ(StringOf(R"("\b\f\n\r\t")"), "\b\f\n\r\t");
  EXPECT_EQ(StringOf(R"("\"\\\/")"), "\"\\/");
  EXPECT_EQ(StringOf(R"("\q")"), "q");  // unknown escapes are taken literally
  EXPECT_EQ(StringOf(R"("\u00e9")"), "\xC3\xA9");
  EXPECT_EQ(StringOf(R"("\u20AC")"), "\xE2\x82\xAC");
  EXPECT_EQ(StringOf(R"("\ud83d\ude00")"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(StringOf(R"("\ud800")"), "\xED\xA0\x80");  // lone surrogate kept as its own code point
  EXPECT_EQ(StringOf(R"("\udc00x")"), "\xED\xB0\x80x");
  EXPECT_EQ(StringOf(R"("a\u0000b")"), std::string("a\0b", 3));
  EXPECT_EQ(StringOf(R"("\u12G4")"), "\x12");  // the conversion stops at the first non-hex digit
  EXPECT_EQ(StringOf(R"("\uZZZZ")"), std::string("\0", 1));
  EXPECT_EQ(StringOf("\"raw \x01 \xFF bytes\""), "raw \x01 \xFF bytes");
  EXPECT_FALSE(Parses(R"("\u12")"));
  EXPECT_FALSE(Parses("\"abc\\"));
  EXPECT_FALSE(Parses("\"\\u12"));
}

// Nesting lives on the heap: a hundred thousand levels (past any thread's stack if each level took a
// call) parse, are walked and are destroyed; unfinished ones fail the same way.
TEST(JsonParse, DeepNestingHasNoLimitOfItsOwn) {
  constexpr std::size_t kDeep = 100000;
  {
    JsonValue value;
    ASSERT_TRUE(ParseJson(std::string(kDeep, '[') + std::string(kDeep, ']'), value));
    std::size_t depth = 0;
    for (const JsonValue* v = &value; v != nullptr && v->IsArray(); v = v->items.empty() ? nullptr : &v->items[0]) {
      ++depth;
    }
    EXPECT_EQ(depth, kDeep);
  }
  std::string objects;
  for (std::size_t i = 0; i < kDeep; ++i) objects += "{\"a\":";
  {
    JsonValue value;
    ASSERT_TRUE(ParseJson(objects + "7" + std::string(kDeep, '}'), value));
    const JsonValue* v = &value;
    for (std::size_t i = 0; i < kDeep; ++i) v = &v->Find("a");
    EXPECT_EQ(v->number, 7.0);
  }
  EXPECT_FALSE(Parses(std::string(kDeep, '[')));
  EXPECT_FALSE(Parses(objects));
  EXPECT_FALSE(Parses(std::string(kDeep, '[') + std::string(kDeep - 1, ']')));
  EXPECT_FALSE(Parses(std::string(kDeep, '[') + std::string(kDeep + 1, ']')));
  EXPECT_FALSE(Parses(std::string(kDeep, '[') + std::string(kDeep, '}')));

  // Mixed shapes close in the right order, and members keep their own names after a nested value.
  const JsonValue mixed = Parsed(R"({"a":[{},[],{"b":[1,{"c":"d"}]}],"e":{"f":[[2]]},"g":3})");
  ASSERT_EQ(mixed.members.size(), 3u);
  EXPECT_EQ(mixed.Find("a").items.size(), 3u);
  EXPECT_EQ(mixed.Find("a").items[2].Find("b").items[1].Find("c").text, "d");
  EXPECT_EQ(mixed.Find("e").Find("f").items[0].items[0].number, 2.0);
  EXPECT_EQ(mixed.Find("g").number, 3.0);
  EXPECT_EQ(mixed.Find("a").items[0].kind, JsonKind::Object);
  EXPECT_EQ(mixed.Find("a").items[1].kind, JsonKind::Array);
  for (const char* bad : {"[{]}", "{\"a\":[}", "[[]", "{\"a\":{}", "[]]", "{\"a\":{\"b\" 1}}", "[{\"a\"}]"}) {
    EXPECT_FALSE(Parses(bad)) << bad;
  }

  // A failure leaves the outermost container with what was complete inside it.
  JsonValue partial;
  EXPECT_FALSE(ParseJson(R"([1,[2],{"x":3},[4,)", partial));
  ASSERT_EQ(partial.kind, JsonKind::Array);
  ASSERT_EQ(partial.items.size(), 3u);
  EXPECT_EQ(partial.items[2].Find("x").number, 3.0);
}

TEST(JsonQuote, EscapeTable) {
  EXPECT_EQ(JsonQuote("\t\"\\\x01\xC3\xA9"), "\"\\t\\\"\\\\\\u0001\xC3\xA9\"");
  EXPECT_EQ(JsonQuote("\b\f\n\r"), "\"\\u0008\\u000c\\n\\r\"");
  EXPECT_EQ(JsonQuote("/\x7F"), "\"/\x7F\"");
  EXPECT_EQ(JsonQuote(""), "\"\"");
  EXPECT_EQ(JsonQuote(std::string("\0", 1)), "\"\\u0000\"");
}

TEST(JsonQuote, RoundTripsThroughTheReader) {
  std::string all;
  for (int b = 1; b < 256; ++b) all.push_back(static_cast<char>(b));
  EXPECT_EQ(StringOf(JsonQuote(all)), all);
}

}  // namespace

}  // namespace orv

// The preferences file's JSON object, kept as its text.
#include <gtest/gtest.h>

#include "Platform/linux/JsonObjectText.h"

namespace rqb {
namespace {

std::optional<JsonObjectText> Parse(const std::string& text) {
  return JsonObjectText::Parse(text, 32);
}

TEST(JsonObjectText, AcceptsWhatJsonAllowsAndRefusesTheRest) {
  // The third begins with a byte order mark.
  for (const char* valid : {"{}", " \t\r\n{ }\n", "\xEF\xBB\xBF{\"a\": 1}",
                            R"({"a": [0, -0, 1.5e-3, 1E+2, 1e400, 12345678901234567890123]})",
                            R"({"a": "\" \\ \/ \b \f \n \r \t \u00e9 \ud800 \udc00", "a": null})",
                            R"({"a": {"b": [true, false, null, {}, []]}})",
                            "{\"caf\xC3\xA9\": \"\xF0\x9F\x98\x80\"}"}) {
    EXPECT_TRUE(Parse(valid)) << valid;
  }
  // The last two: a raw control character, and a text that is not UTF-8.
  for (const char* invalid :
       {"", "[]", "{} {}", R"({"a": 1,})", R"({,"a": 1})", R"({"a" 1})", R"({'a': 1})",
        R"({"a": 01})", R"({"a": 1.})", R"({"a": .5})", R"({"a": 1e})", R"({"a": +1})",
        R"({"a": tru})", R"({"a": "\x"})", R"({"a": "\u12"})", R"({"a": "open)",
        "{\"a\": \"\x01\"}", "{\"a\": \"\xFF\"}"}) {
    EXPECT_FALSE(Parse(invalid)) << invalid;
  }
  // The object and what it holds nest 32 levels at most.
  const auto nested = [](std::size_t levels) {
    return "{\"a\":" + std::string(levels - 1, '[') + std::string(levels - 1, ']') + "}";
  };
  EXPECT_TRUE(Parse(nested(32)));
  EXPECT_FALSE(Parse(nested(33)));
}

TEST(JsonObjectText, DecodesEscapesAndRefusesLoneSurrogates) {
  EXPECT_EQ(DecodeJsonString(R"("a\"\\\/\n\u00e9\ud83d\ude00")"),
            "a\"\\/\n\xC3\xA9\xF0\x9F\x98\x80");
  for (const char* lone : {R"("\ud800")", R"("\udc00")", R"("\ud800x")", R"("\ud800\u0041")"}) {
    EXPECT_EQ(DecodeJsonString(lone), std::nullopt) << lone;
  }
  EXPECT_EQ(DecodeJsonString("1"), std::nullopt);
  EXPECT_EQ(DecodeJsonStringArray(R"([ "a" ,"\u00e9"])"),
            (std::vector<std::string>{"a", "\xC3\xA9"}));
  EXPECT_EQ(DecodeJsonStringArray(R"(["a", 1])"), std::nullopt);
  EXPECT_EQ(DecodeJsonStringArray(R"(["\ud800"])"), std::nullopt);
  EXPECT_EQ(EncodeJsonString("q\"\\/\n\x01\xC3\xA9"), R"("q\"\\/\n\u0001)"
                                                      "\xC3\xA9\"");
}

TEST(JsonObjectText, SettingAMemberChangesOnlyItsValueOrAddsItSpacedLikeTheLast) {
  // Names are compared as the text they stand for, and the last one counts.
  auto object = Parse("{\n  \"n\": 1E2,\n  \"id\": \"old\",\n  \"\\u0069d\": \"old\"\n}\n");
  ASSERT_TRUE(object);
  object->SetString("id", "new");
  EXPECT_EQ(object->text(), "{\n  \"n\": 1E2,\n  \"id\": \"old\",\n  \"\\u0069d\": \"new\"\n}\n");
  object->SetString("added", "a\"b");
  EXPECT_EQ(object->text(),
            "{\n  \"n\": 1E2,\n  \"id\": \"old\",\n  \"\\u0069d\": \"new\",\n  \"added\": "
            "\"a\\\"b\"\n}\n");
  EXPECT_EQ(object->Find("added"), R"("a\"b")");

  auto compact = Parse(R"({"n":-0})");
  compact->SetString("id", "x");
  EXPECT_EQ(compact->text(), R"({"n":-0,"id": "x"})");

  JsonObjectText empty;
  empty.SetString("id", "x");
  empty.SetString("id", "y");
  EXPECT_EQ(empty.text(), "{\n  \"id\": \"y\"\n}\n");
}

}  // namespace
}  // namespace rqb

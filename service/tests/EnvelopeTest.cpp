#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "profile/Envelope.h"
#include "profile/Utf8.h"

namespace rqbservice {
namespace {

std::optional<Rejection> RejectionOf(std::string_view body) {
  const auto read = ReadEnvelope(body);
  if (const auto* rejection = std::get_if<Rejection>(&read)) return *rejection;
  return std::nullopt;
}

TEST(Envelope, RefusesBodiesThatAreNotAProfileForTheRightReason) {
  std::string many_keys = R"({"SessionID":"abcdef","App":"a","Variables":{)";
  for (std::size_t i = 0; i <= kMaxVariables; ++i)
    many_keys += (i ? "," : "") + ("\"k" + std::to_string(i) + "\":\"v\"");
  many_keys += "}}";
  const struct {
    std::string body;
    Rejection expected;
  } cases[] = {
      {R"({"SessionID":"abcdef","App":"a","Variab)", Rejection::kNotJson},
      {std::string(kMaxBodyBytes + 1, ' '), Rejection::kTooLarge},
      {"{\"App\":\"\xC0\xAF\"}", Rejection::kInvalidUtf8},
      {R"({"SessionID":"abcdef","App":"a","Variables":{"k":{"x":[[[[[[[[1]]]]]]]]}}})",
       Rejection::kTooDeep},
      {many_keys, Rejection::kTooManyKeys},
      {R"([1,2])", Rejection::kBadEnvelope},
      {R"({"SessionID":"abcdef","App":"a","Variables":[]})", Rejection::kBadEnvelope},
      {R"({"SessionID":"abcdef","App":"a","Variables":{"k":5}})", Rejection::kBadEnvelope},
      {R"({"SessionID":42,"App":"a","Variables":{}})", Rejection::kBadEnvelope},
      {R"({"SessionID":"abcdef","Variables":{}})", Rejection::kBadEnvelope},
      {R"({"SessionID":"","App":"a","Variables":{}})", Rejection::kBadEnvelope},
      {R"({"SessionID":"abcdef","App":"a","Variables":{}} trailing)", Rejection::kNotJson},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RejectionOf(c.body), c.expected) << c.body.substr(0, 80);
  }
}

TEST(Envelope, ContentTypeMustBeJsonInUtf8) {
  for (const char* accepted :
       {"application/json", "application/json; charset=UTF-8", "Application/JSON;charset=\"utf-8\"",
        "application/json; boundary=x"}) {
    EXPECT_TRUE(IsJsonContentType(accepted)) << accepted;
  }
  for (const char* refused :
       {"", "text/plain", "application/jsonx", "application/x-www-form-urlencoded",
        "application/json; charset=ISO-8859-1"}) {
    EXPECT_FALSE(IsJsonContentType(refused)) << refused;
  }
}

TEST(Utf8, TellsWellFormedTextFromEveryKindOfMalformedSequence) {
  for (const char* valid : {"", "plain", "S\xC3\xA3o Paulo", "\xE2\x82\xAC", "\xF0\x9F\x93\xB1",
                            "\xF4\x8F\xBF\xBF", "\xEF\xBF\xBF"}) {
    EXPECT_TRUE(IsValidUtf8(valid)) << valid;
  }
  for (const char* invalid :
       {"\x80", "\xC3", "\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF0\x80\x80\xAF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xE2\x82", "ok\xE2\x28\xA1"}) {
    EXPECT_FALSE(IsValidUtf8(invalid)) << invalid;
  }
}

TEST(Utf8, NestingDepthSkipsBracketsInsideStrings) {
  EXPECT_EQ(JsonNestingDepth(R"({"a":"[[[{{{","b":["\"[[["]})", 100), 2u);
  EXPECT_EQ(JsonNestingDepth(R"({"a\\":[[1]]})", 100), 3u);
  EXPECT_EQ(JsonNestingDepth(std::string(1000000, '['), 8), 9u);
}

}  // namespace
}  // namespace rqbservice

#include "Utils/Json/PrettyJsonWriter.h"

#include <gtest/gtest.h>

namespace rqb {
namespace {

TEST(PrettyJsonWriter, IndentsANestedEmptyObjectOnlyBeforeItsClosingBrace) {
  JsonObject envelope;
  envelope.Set("Variables", JsonObject());
  envelope.Set("App", std::string("shop-app-01"));
  EXPECT_EQ(WritePrettyJson(envelope),
            "{\n  \"Variables\" : {\n\n  },\n  \"App\" : \"shop-app-01\"\n}");
}

TEST(PrettyJsonWriter, EscapesLikeThePlatformAndKeepsOtherTextRaw) {
  JsonObject object;
  object.Set("k/\"\\", std::string("a/b \"q\" c\\d \b\f\n\r\t \x01\x1f\x0b \x7f S\xC3\xA3o \xF0\x9F\x98\x80"));
  EXPECT_EQ(WritePrettyJson(object),
            "{\n"
            "  \"k\\/\\\"\\\\\" : \"a\\/b \\\"q\\\" c\\\\d \\b\\f\\n\\r\\t \\u0001\\u001f\\u000b \x7f "
            "S\xC3\xA3o \xF0\x9F\x98\x80\"\n"
            "}");
}

TEST(PrettyJsonWriter, RefusesKeysAndTextsThatAreNotUtf8) {
  JsonObject bad_value;
  bad_value.Set("DeviceName", std::string("box\xFF"));
  JsonObject nested;
  nested.Set("Variables", std::move(bad_value));
  EXPECT_EQ(WritePrettyJson(nested), std::nullopt);
  JsonObject bad_key;
  bad_key.Set("\xC0\x80", std::string("x"));
  EXPECT_EQ(WritePrettyJson(bad_key), std::nullopt);
}

}  // namespace
}  // namespace rqb

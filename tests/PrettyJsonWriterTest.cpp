#include "Utils/Json/PrettyJsonWriter.h"

#include <gtest/gtest.h>

#include "RQBehavior/RQBException.h"

namespace rqb {
namespace {

JsonObject Envelope(JsonObject variables) {
  JsonObject envelope;
  envelope.Set("Variables", std::move(variables));
  envelope.Set("SessionID", std::string("9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B"));
  envelope.Set("App", std::string("shop-app-01"));
  return envelope;
}

TEST(PrettyJsonWriter, WritesAnEmptyObjectAroundABlankLine) {
  EXPECT_EQ(WritePrettyJson(JsonObject()), "{\n\n}");
}

TEST(PrettyJsonWriter, IndentsANestedEmptyObjectOnlyBeforeItsClosingBrace) {
  EXPECT_EQ(WritePrettyJson(Envelope(JsonObject())),
            "{\n"
            "  \"Variables\" : {\n"
            "\n"
            "  },\n"
            "  \"SessionID\" : \"9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B\",\n"
            "  \"App\" : \"shop-app-01\"\n"
            "}");
}

TEST(PrettyJsonWriter, WritesJsonFragmentsAsEscapedStrings) {
  JsonObject variables;
  variables.Set("Platform", std::string("iOS"));
  variables.Set("Battery", std::string("{ \"s\": \"c\", \"l\": 50.000000 }"));
  variables.Set("InstalledKeyboards", std::string("[\"en_US@sw=QWERTY;hw=Automatic\"]"));
  EXPECT_EQ(WritePrettyJson(Envelope(std::move(variables))),
            "{\n"
            "  \"Variables\" : {\n"
            "    \"Platform\" : \"iOS\",\n"
            "    \"Battery\" : \"{ \\\"s\\\": \\\"c\\\", \\\"l\\\": 50.000000 }\",\n"
            "    \"InstalledKeyboards\" : \"[\\\"en_US@sw=QWERTY;hw=Automatic\\\"]\"\n"
            "  },\n"
            "  \"SessionID\" : \"9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B\",\n"
            "  \"App\" : \"shop-app-01\"\n"
            "}");
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

TEST(PrettyJsonWriter, RefusesTextThatIsNotUtf8) {
  JsonObject bad_value;
  bad_value.Set("DeviceName", std::string("box\xFF"));
  EXPECT_EQ(WritePrettyJson(Envelope(std::move(bad_value))), std::nullopt);
  JsonObject bad_key;
  bad_key.Set("\xC0\x80", std::string("x"));
  EXPECT_EQ(WritePrettyJson(bad_key), std::nullopt);
}

TEST(JsonObject, ReplacesADuplicateKeyInPlaceAndRefusesNil) {
  JsonObject object;
  object.Set("a", std::string("1"));
  object.Set("b", std::string("2"));
  object.Set("a", std::string("3"));
  EXPECT_EQ(WritePrettyJson(object), "{\n  \"a\" : \"3\",\n  \"b\" : \"2\"\n}");
  try {
    object.Set("SessionID", std::nullopt);
    FAIL() << "a nil value was stored";
  } catch (const RQBException& exception) {
    EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
    EXPECT_STREQ(exception.what(),
                 "*** -[__NSDictionaryM setObject:forKey:]: object cannot be nil (key: SessionID)");
  }
}

}  // namespace
}  // namespace rqb

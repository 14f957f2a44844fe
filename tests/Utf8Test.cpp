#include "Utils/Text/Utf8.h"

#include <gtest/gtest.h>

namespace rqb {
namespace {

TEST(Utf8, RefusesEveryMalformedSequenceAndAcceptsTheRest) {
  EXPECT_TRUE(IsValidUtf8("S\xC3\xA3o \xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF \x7F"));
  for (const char* malformed : {
           "\x80",              // stray continuation byte
           "\xE2\x82",          // truncated sequence
           "\xC0\x80",          // overlong NUL
           "\xE0\x80\x80",      // overlong three-byte form
           "\xED\xA0\x80",      // UTF-16 surrogate
           "\xF4\x90\x80\x80",  // above U+10FFFF
           "\xF5\x80\x80\x80",  // lead byte never used
       }) {
    EXPECT_FALSE(IsValidUtf8(malformed)) << testing::PrintToString(std::string(malformed));
  }
}

TEST(Utf8, ObjectiveCStringUnitsConvertBothWaysAndALoneSurrogateIsNoText) {
  // ASCII with an embedded NUL, two-, three- and four-byte forms.
  const std::string text("a\0\xC3\xA3\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", 15);
  const std::u16string units(u"a\0\u00E3\u20AC\U0001F600\U0010FFFF", 8);
  EXPECT_EQ(Utf8ToUtf16(text), units);
  EXPECT_EQ(Utf16ToUtf8(units), text);
  EXPECT_EQ(Utf16ToUtf8(u""), "");

  const std::u16string lone_surrogates[] = {
      std::u16string(u"abc\xD83D"),
      std::u16string(u"\xDE00" u"abc"),
      std::u16string(u"a\xD83D" u"b\xDE00"),
  };
  for (const std::u16string& lone : lone_surrogates) {
    EXPECT_EQ(Utf16ToUtf8(lone), std::nullopt);
  }
  // Bytes of no well-formed sequence stand as U+FFFD, one each.
  EXPECT_EQ(Utf8ToUtf16("a\xFF\xE2\x82"
                        "b"),
            u"a\uFFFD\uFFFD\uFFFDb");
}

}  // namespace
}  // namespace rqb

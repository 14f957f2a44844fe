#include "Utils/Text/Utf8.h"

#include <gtest/gtest.h>

namespace rqb {
namespace {

TEST(Utf8, AcceptsWellFormedTextOfEveryLength) {
  EXPECT_TRUE(IsValidUtf8(""));
  EXPECT_TRUE(IsValidUtf8("shop-app-01"));
  EXPECT_TRUE(IsValidUtf8("S\xC3\xA3o Paulo \xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF"));
}

TEST(Utf8, RefusesMalformedSequences) {
  for (const char* malformed : {
           "\x80",                  // stray continuation byte
           "\xC3",                  // truncated two-byte sequence
           "\xE2\x82",              // truncated three-byte sequence
           "\xC0\x80",              // overlong NUL
           "\xE0\x80\x80",          // overlong three-byte form
           "\xED\xA0\x80",          // UTF-16 surrogate
           "\xF4\x90\x80\x80",      // above U+10FFFF
           "\xF5\x80\x80\x80",      // lead byte never used
           "ok\xFF",                // invalid byte after valid text
       }) {
    EXPECT_FALSE(IsValidUtf8(malformed)) << testing::PrintToString(std::string(malformed));
  }
}

TEST(Utf8, CountsLengthInUtf16CodeUnits) {
  EXPECT_EQ(Utf16Length("abcdef"), 6u);
  EXPECT_EQ(Utf16Length("\xC3\xA3\xE2\x82\xAC"), 2u);  // two characters of the BMP
  // Three characters outside the BMP take a surrogate pair each.
  EXPECT_EQ(Utf16Length("\xF0\x9F\x98\x80\xF0\x9F\x98\x81\xF0\x9F\x98\x82"), 6u);
}

TEST(Utf8, TextThatIsNotUtf8EntersAsNil) {
  EXPECT_EQ(TextOrNil(std::string("abc")), std::optional<std::string>("abc"));
  EXPECT_EQ(TextOrNil(std::string("ab\xFF")), std::nullopt);
  EXPECT_EQ(TextOrNil(std::nullopt), std::nullopt);
}

}  // namespace
}  // namespace rqb

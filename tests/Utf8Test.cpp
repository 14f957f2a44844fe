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

}  // namespace
}  // namespace rqb

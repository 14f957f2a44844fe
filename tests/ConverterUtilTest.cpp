#include "Utils/Converter/RQBConverterUtil.h"

#include <gtest/gtest.h>

namespace {

TEST(RQBConverterUtil, AnyNonZeroByteIsTrue) {
  EXPECT_EQ(RQBConverterUtil::booleanToString(0), "false");
  EXPECT_EQ(RQBConverterUtil::booleanToString(1), "true");
  EXPECT_EQ(RQBConverterUtil::booleanToString(0x80), "true");
}

TEST(RQBConverterUtil, JoinsElementsWithCommasInsideBracketsUnescaped) {
  using List = std::vector<std::string>;
  EXPECT_EQ(RQBConverterUtil::arrayToString(List{}), "[]");
  EXPECT_EQ(RQBConverterUtil::arrayToString(List{"a"}), "[a]");
  EXPECT_EQ(RQBConverterUtil::arrayToString(List{"b", "a"}), "[b,a]");
  EXPECT_EQ(RQBConverterUtil::arrayToString(List{"\"a\"", "\"b\""}), "[\"a\",\"b\"]");
  EXPECT_EQ(RQBConverterUtil::arrayToString(List{"x,y", "say \"hi\""}), "[x,y,say \"hi\"]");
  EXPECT_EQ(RQBConverterUtil::arrayToString(std::nullopt), "[(null)]");
}

}  // namespace

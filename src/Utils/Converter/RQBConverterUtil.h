// Shared value encodings of the collectors.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "RQBehavior/RQBExport.h"

class RQB_EXPORT RQBConverterUtil {
 public:
  RQBConverterUtil() = delete;

  // "true" for any non-zero byte, "false" for zero.
  static std::string booleanToString(unsigned char value);

  // The element texts joined by "," between "[" and "]", unquoted and
  // unescaped: {"a", "b"} gives "[a,b]", an empty list "[]". No list at all
  // gives "[(null)]", the platform's text for a missing object.
  static std::string arrayToString(const std::optional<std::vector<std::string>>& elements);
};

#include "Utils/Converter/RQBConverterUtil.h"

std::string RQBConverterUtil::booleanToString(unsigned char value) {
  return value != 0 ? "true" : "false";
}

std::string RQBConverterUtil::arrayToString(
    const std::optional<std::vector<std::string>>& elements) {
  if (!elements) return "[(null)]";
  std::string joined = "[";
  for (std::size_t i = 0; i < elements->size(); ++i) {
    if (i > 0) joined += ',';
    joined += (*elements)[i];
  }
  joined += ']';
  return joined;
}

#include "Platform/UrlSession.h"

#include <algorithm>
#include <cctype>

namespace rqb {
namespace {

bool SameField(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

}  // namespace

void UrlRequest::SetValueForHttpHeaderField(std::string value, std::string_view field) {
  for (auto& [name, existing] : header_fields) {
    if (SameField(name, field)) {
      existing = std::move(value);
      return;
    }
  }
  header_fields.emplace_back(std::string(field), std::move(value));
}

const std::string* UrlRequest::ValueForHttpHeaderField(std::string_view field) const {
  for (const auto& [name, value] : header_fields) {
    if (SameField(name, field)) return &value;
  }
  return nullptr;
}

}  // namespace rqb

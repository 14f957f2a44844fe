#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>

#include "profile/FragmentDecoders.h"

namespace rqbservice {
namespace {

// One `"name": value` member of the location text. Values are bare tokens:
// numbers as the device prints doubles (`-23.5505`, `1e+20`, `nan`, `-inf`)
// and the date without quotes.
struct RawMember {
  std::string_view name;
  std::string_view value;
};

std::string_view TrimSpaces(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

std::optional<std::vector<RawMember>> SplitMembers(std::string_view text) {
  text = TrimSpaces(text);
  if (text.size() < 2 || text.front() != '{' || text.back() != '}') return std::nullopt;
  std::string_view inner = TrimSpaces(text.substr(1, text.size() - 2));
  std::vector<RawMember> members;
  while (!inner.empty()) {
    if (inner.front() != '"') return std::nullopt;
    const std::size_t name_end = inner.find('"', 1);
    if (name_end == std::string_view::npos) return std::nullopt;
    const std::string_view name = inner.substr(1, name_end - 1);
    std::string_view rest = TrimSpaces(inner.substr(name_end + 1));
    if (rest.empty() || rest.front() != ':') return std::nullopt;
    rest.remove_prefix(1);
    const std::size_t comma = rest.find(',');
    const std::string_view value = TrimSpaces(rest.substr(0, comma));
    if (value.empty()) return std::nullopt;
    members.push_back({name, value});
    inner =
        comma == std::string_view::npos ? std::string_view() : TrimSpaces(rest.substr(comma + 1));
    if (comma != std::string_view::npos && inner.empty()) return std::nullopt;  // trailing comma
  }
  return members;
}

std::optional<double> ParseDouble(std::string_view token) {
  double value = 0;
  const char* end = token.data() + token.size();
  const auto [stop, error] = std::from_chars(token.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

// JSON has no NaN or infinity: such a reading becomes null.
nlohmann::json NumberOrNull(double value) {
  return std::isfinite(value) ? nlohmann::json(value) : nlohmann::json();
}

bool AllDigits(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

int Number(std::string_view digits) {
  int value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

}  // namespace

std::optional<std::string> LocationTimestampToRfc3339(std::string_view text) {
  // yyyy-MM-ddTHH:mm:ss±hhmm, 24 characters.
  if (text.size() != 24 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':' || (text[19] != '+' && text[19] != '-')) {
    return std::nullopt;
  }
  for (const std::size_t at : {0, 5, 8, 11, 14, 17, 20, 22}) {
    if (!AllDigits(text.substr(at, at == 0 ? 4 : 2))) return std::nullopt;
  }
  const int year = Number(text.substr(0, 4));
  const unsigned month = static_cast<unsigned>(Number(text.substr(5, 2)));
  const unsigned day = static_cast<unsigned>(Number(text.substr(8, 2)));
  const int hour = Number(text.substr(11, 2)), minute = Number(text.substr(14, 2));
  const int second = Number(text.substr(17, 2));
  const int offset_hours = Number(text.substr(20, 2)), offset_minutes = Number(text.substr(22, 2));
  // The year is the week-based year of the device's calendar, whose week
  // rules (first weekday, minimal days in the first week) are not sent. It
  // equals the calendar year except where a week straddles New Year: the
  // week holding 1 January starts on 26 December at the earliest, and 7
  // January always lies in the first week. Between those days the year is
  // unknown, and only the text as sent is kept.
  if ((month == 12 && day >= 26) || (month == 1 && day <= 6)) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                         std::chrono::day(day)};
  if (!date.ok() || hour > 23 || minute > 59 || second > 60 || offset_hours > 23 ||
      offset_minutes > 59) {
    return std::nullopt;
  }
  // Written back with the device's own offset, as RFC 3339 wants it.
  char rfc3339[128];
  std::snprintf(rfc3339, sizeof rfc3339, "%04d-%02u-%02uT%02d:%02d:%02d%c%02d:%02d", year, month,
                day, hour, minute, second, text[19], offset_hours, offset_minutes);
  return std::string(rfc3339);
}

std::optional<nlohmann::json> DecodeLocation(std::string_view text) {
  if (text == "{}") return nlohmann::json();
  const auto members = SplitMembers(text);
  if (!members) return std::nullopt;
  static const std::map<std::string_view, std::string_view> kNumbers = {
      {"lat", "latitude"},
      {"lot", "longitude"},
      {"alt", "altitude"},
      {"hac", "horizontalAccuracy"},
      {"vac", "verticalAccuracy"},
      {"c", "course"},
      {"s", "speed"}};
  nlohmann::json location = nlohmann::json::object();
  std::size_t numbers = 0;
  bool has_timestamp = false;
  for (const auto& [name, value] : *members) {
    if (const auto field = kNumbers.find(name); field != kNumbers.end()) {
      const auto number = ParseDouble(value);
      if (!number || location.contains(field->second)) return std::nullopt;
      location[std::string(field->second)] = NumberOrNull(*number);
      ++numbers;
    } else if (name == "ts" && !has_timestamp) {
      has_timestamp = true;
      location["timestamp"] = std::string(value);
      const auto rfc3339 = LocationTimestampToRfc3339(value);
      location["timestampRfc3339"] = rfc3339 ? nlohmann::json(*rfc3339) : nlohmann::json();
    } else if (name == "fl" && !location.contains("floor")) {
      long long floor = 0;
      const auto [stop, error] = std::from_chars(value.data(), value.data() + value.size(), floor);
      if (error != std::errc() || stop != value.data() + value.size()) return std::nullopt;
      location["floor"] = floor;
    } else {
      return std::nullopt;
    }
  }
  if (numbers != kNumbers.size() || !has_timestamp) return std::nullopt;
  if (!location.contains("floor")) location["floor"] = nullptr;
  return location;
}

}  // namespace rqbservice

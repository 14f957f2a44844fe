#include "api/Rfc3339.h"

#include <charconv>
#include <chrono>
#include <cstdio>

namespace rqbservice {
namespace {

using namespace std::chrono;

std::optional<int> Digits(std::string_view text, std::size_t at, std::size_t count) {
  if (at + count > text.size()) return std::nullopt;
  int value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return std::nullopt;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

}  // namespace

std::int64_t NowMicroseconds() {
  return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

std::string FormatRfc3339(std::int64_t microseconds_since_epoch) {
  const sys_time<microseconds> time{microseconds(microseconds_since_epoch)};
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss<microseconds> clock(time - day);
  char text[128];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%06lldZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()),
                static_cast<long long>(clock.subseconds().count()));
  return text;
}

std::optional<std::int64_t> ParseRfc3339(std::string_view text) {
  // yyyy-mm-ddThh:mm:ss[.fraction](Z|±hh:mm)
  const auto y = Digits(text, 0, 4), mo = Digits(text, 5, 2), d = Digits(text, 8, 2);
  const auto h = Digits(text, 11, 2), mi = Digits(text, 14, 2), s = Digits(text, 17, 2);
  if (!y || !mo || !d || !h || !mi || !s || text[4] != '-' || text[7] != '-' ||
      (text[10] != 'T' && text[10] != 't') || text[13] != ':' || text[16] != ':') {
    return std::nullopt;
  }
  std::size_t at = 19;
  std::int64_t fraction_us = 0;
  if (at < text.size() && text[at] == '.') {
    std::int64_t scale = 100000;
    std::size_t digits = 0;
    for (++at; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, ++digits) {
      fraction_us += (text[at] - '0') * scale;
      scale /= 10;
    }
    if (digits == 0) return std::nullopt;
  }
  int offset_minutes = 0;
  if (at < text.size() && (text[at] == 'Z' || text[at] == 'z')) {
    ++at;
  } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    const auto oh = Digits(text, at + 1, 2), om = Digits(text, at + 4, 2);
    if (!oh || !om || text[at + 3] != ':' || *oh > 23 || *om > 59) return std::nullopt;
    offset_minutes = (text[at] == '-' ? -1 : 1) * (*oh * 60 + *om);
    at += 6;
  } else {
    return std::nullopt;
  }
  if (at != text.size()) return std::nullopt;
  const year_month_day date{year(*y), month(static_cast<unsigned>(*mo)),
                            day(static_cast<unsigned>(*d))};
  if (!date.ok() || *h > 23 || *mi > 59 || *s > 60) return std::nullopt;
  const auto local = sys_days(date) + hours(*h) + minutes(*mi) + seconds(*s);
  return duration_cast<microseconds>(local.time_since_epoch() - minutes(offset_minutes)).count() +
         fraction_us;
}

}  // namespace rqbservice

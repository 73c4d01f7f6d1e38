#include "plist/date_text.h"

#include <cmath>
#include <cstdio>
#include <string_view>

namespace cx::plist {

namespace {

constexpr int64_t kSecondsPerDay = 86400;

// Days from 0000-03-01, so that leap days come last in each 400-year era.
int64_t days_from_civil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe;
}

struct Civil {
  int64_t year;
  int month;
  int day;
};

Civil civil_from_days(int64_t z) {
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  return {yoe + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

}  // namespace

std::optional<std::string> date_text(double t) {
  // Outside this the year has more than four digits anyway.
  constexpr double kBound = 1e12;
  if (!(t > -kBound && t < kBound)) return std::nullopt;
  const auto whole = static_cast<int64_t>(std::trunc(t));
  const int64_t days = whole >= 0 ? whole / kSecondsPerDay : -((-whole - 1) / kSecondsPerDay) - 1;
  const int64_t in_day = whole - days * kSecondsPerDay;
  const Civil c = civil_from_days(days + days_from_civil(2001, 1, 1));
  if (c.year < 0 || c.year > 9999) return std::nullopt;
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", static_cast<int>(c.year),
                c.month, c.day, static_cast<int>(in_day / 3600), static_cast<int>(in_day / 60 % 60),
                static_cast<int>(in_day % 60));
  return text;
}

std::vector<uint8_t> pad_date_years(std::span<const uint8_t> xml) {
  constexpr std::string_view kOpen = "<date>";
  const std::string_view doc(reinterpret_cast<const char*>(xml.data()), xml.size());
  std::vector<uint8_t> out;
  out.reserve(xml.size());
  size_t from = 0;
  for (size_t at = doc.find(kOpen); at != std::string_view::npos; at = doc.find(kOpen, from)) {
    const size_t year_at = at + kOpen.size();
    out.insert(out.end(), xml.begin() + from, xml.begin() + year_at);
    const size_t dash = doc.find('-', year_at);
    if (dash != std::string_view::npos && dash - year_at < 4)
      out.insert(out.end(), 4 - (dash - year_at), '0');
    from = year_at;
  }
  out.insert(out.end(), xml.begin() + from, xml.end());
  return out;
}

}  // namespace cx::plist

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

std::optional<double> date_from_text(std::string_view text) {
  while (!text.empty() && std::string_view(" \t\r\n").find(text.front()) != std::string_view::npos)
    text.remove_prefix(1);
  while (!text.empty() && std::string_view(" \t\r\n").find(text.back()) != std::string_view::npos)
    text.remove_suffix(1);
  constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != kShape.size()) return std::nullopt;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kShape[i] == 'd' ? !digit : text[i] != kShape[i]) return std::nullopt;
  }
  const auto num = [&](size_t at, size_t len) {
    int v = 0;
    for (size_t i = at; i < at + len; ++i) v = v * 10 + (text[i] - '0');
    return v;
  };
  const int year = num(0, 4), month = num(5, 2), day = num(8, 2);
  const int hour = num(11, 2), minute = num(14, 2), second = num(17, 2);
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  if (month < 1 || month > 12) return std::nullopt;
  const int month_days = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
  if (day < 1 || day > month_days || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const int64_t days = days_from_civil(year, month, day) - days_from_civil(2001, 1, 1);
  return static_cast<double>(days * kSecondsPerDay + hour * 3600 + minute * 60 + second);
}

}  // namespace cx::plist

// Dates as property lists write them in XML: "YYYY-MM-DDTHH:MM:SSZ", UTC,
// proleptic Gregorian, years 0000 to 9999. Inside, a date is seconds since
// 2001-01-01T00:00:00Z (a double, so any year fits).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace cx::plist {

// The whole seconds of `t` (truncated towards zero) as XML date text; nothing
// when the year falls outside 0000-9999.
std::optional<std::string> date_text(double t);

// libplist 2.2 writes years below 1000 without their leading zeros, which no
// reader accepts; pads every <date> of an XML document it wrote to 4 digits.
std::vector<uint8_t> pad_date_years(std::span<const uint8_t> xml);

}  // namespace cx::plist

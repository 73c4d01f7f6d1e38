// Dates as property lists write them in XML: "YYYY-MM-DDTHH:MM:SSZ", UTC,
// proleptic Gregorian, years 0000 to 9999. Inside, a date is seconds since
// 2001-01-01T00:00:00Z (a double, so any year fits).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cx::plist {

// The whole seconds of `t` (truncated towards zero) as XML date text; nothing
// when the year falls outside 0000-9999.
std::optional<std::string> date_text(double t);

// The time of XML date text (surrounding white space allowed), any year;
// nothing when the text is no valid date.
std::optional<double> date_from_text(std::string_view text);

}  // namespace cx::plist

// Time stamps: the user-ID-and-time prefix of progress lines, and the local
// date and time written as a message item.
#pragma once

#include <cstddef>

namespace cx {

// Room for the date-and-time stamp, NUL included.
inline constexpr size_t kDiagStampSize = 256;

// "(uid) hh:mm:ss.micro" of the UTC time of day, in a static buffer that the
// next call overwrites; empty when the clock cannot be read.
const char* timestamp();

// The short local date, " -- ", the local time with seconds; returns the
// number of characters written (0 when the clock cannot be read).
size_t diag_build_timestamp(char* buf, size_t size);

}  // namespace cx

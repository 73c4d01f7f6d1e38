// Splitting assembled text into the log's CR LF terminated lines.
#pragma once

#include <cstddef>

namespace cx {

inline constexpr size_t kDiagLineSize = 1024;

// Writes text line by line: CR or LF ends a line and swallows one directly
// following CR or LF; a line longer than kDiagLineSize is split.
void do_diag_line(const char* text);
// Opens the log if needed and writes the line followed by CR LF.
void diag_single_line(const char* line, size_t length);

}  // namespace cx

#include "diag/diag_lines.h"

#include "diag/diag_log_file.h"
#include "diag/diag_state.h"

namespace cx {
namespace {

bool is_line_end(char c) {
  return c == '\r' || c == '\n';
}

}  // namespace

void do_diag_line(const char* text) {
  char line[kDiagLineSize];
  size_t n = 0;
  while (*text != '\0') {
    const char c = *text++;
    if (is_line_end(c)) {
      diag_single_line(line, n);
      n = 0;
      if (is_line_end(*text)) ++text;
      continue;
    }
    if (n == kDiagLineSize) {
      diag_single_line(line, n);
      n = 0;
    }
    line[n++] = c;
  }
  if (n != 0) diag_single_line(line, n);
}

void diag_single_line(const char* line, size_t length) {
  if (!diaginfo.file_open) open_diagwin_file();
  write_diagwin_file(line, length);
  write_diagwin_file("\r\n", 2);
}

}  // namespace cx

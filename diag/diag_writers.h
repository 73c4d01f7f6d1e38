// The entry points that write messages to the diagnostic log. Each takes the
// message's display level last and does nothing when it does not pass.
#pragma once

#include <cstdint>

namespace cx {

inline constexpr uint32_t kDiagPrintfLevel = 0x406000;

struct cx_diag_rect {
  int32_t values[4];  // printed in this order
};

void diag_line(const char* text, uint32_t level);
// Null parts are skipped.
void diag_3line(const char* a, const char* b, const char* c, uint32_t level);
void diag_value(const char* label, int32_t value, uint32_t level);
// base must be 2..36; label and suffix may be null.
void diag_value_base(const char* label, int32_t value, int32_t base, const char* suffix,
                     uint32_t level);
void diag_value_unsigned(const char* label, uint32_t value, int32_t base, const char* suffix,
                         uint32_t level);
// label "{ a, b, c, d }"
void diag_rectangle(const char* label, const cx_diag_rect* rect, uint32_t level);
// The local date and time alone.
void diag_timestamp(uint32_t level);
// printf into 512 bytes (longer output is cut to 511), written at
// kDiagPrintfLevel.
void diag_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace cx

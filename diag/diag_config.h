// Configuring the diagnostic log: called once at start-up, in this order.
#pragma once

#include <cstdint>

namespace cx {

// Non-null title and file name are copied, cut to 255 characters; the
// window settings are stored only, as no window is ever shown.
void cc_diag_set_window_info(const char* title, const char* file_name, int32_t x, int32_t y,
                             int32_t width, int32_t height, int32_t max_lines, int show_window,
                             int append);
// Applies the overrides stored for the current user and host in a
// preference domain; values of an unexpected type are ignored.
void cc_diag_read_info(const char* domain);
// Category mask := high 16 bits, level := low 16 bits.
void cc_diag_set_display_level(uint32_t level);
// Nonzero when a message of this display level is to be written.
int is_cc_displevel(uint32_t level);

}  // namespace cx

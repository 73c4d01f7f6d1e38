#include "diag/diag_config.h"

#include "diag/diag_format.h"
#include "diag/diag_state.h"

namespace cx {

void cc_diag_set_window_info(const char* title, const char* file_name, int32_t x, int32_t y,
                             int32_t width, int32_t height, int32_t max_lines, int show_window,
                             int append) {
  ensure_diag_info();
  if (title != nullptr) {
    diag_strncpy(diaginfo.title, title, kDiagTextSize - 1);
    diaginfo.title[kDiagTextSize - 1] = '\0';
  }
  if (file_name != nullptr) {
    diag_strncpy(diaginfo.file_name, file_name, kDiagTextSize - 1);
    diaginfo.file_name[kDiagTextSize - 1] = '\0';
  }
  diaginfo.x = x;
  diaginfo.y = y;
  diaginfo.width = width;
  diaginfo.height = height;
  diaginfo.max_lines = max_lines;
  diaginfo.show_window = show_window;
  diaginfo.append = append;
}

void cc_diag_set_display_level(uint32_t level) {
  ensure_diag_info();
  diaginfo.category_mask = static_cast<uint16_t>(level >> 16);
  diaginfo.level = static_cast<uint16_t>(level & 0xffff);
}

int is_cc_displevel(uint32_t level) {
  ensure_diag_info();
  if ((diaginfo.category_mask & (level >> 16)) == 0) return 0;
  return diaginfo.level >= (level & 0xffff) ? 1 : 0;
}

}  // namespace cx

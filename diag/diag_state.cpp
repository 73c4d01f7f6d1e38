#include "diag/diag_state.h"

#include "diag/diag_format.h"
#include "diag/diag_log_file.h"

namespace cx {

DiagInfo diaginfo;
bool diag_inited = false;

void init_diag_info() {
  diaginfo = DiagInfo{};
  diag_strcpy(diaginfo.file_name, "CC Diagnostics.txt");
  diag_strcpy(diaginfo.title, "CC Diagnostics Window");
  diaginfo.x = 50;
  diaginfo.y = 50;
  diaginfo.width = 400;
  diaginfo.height = 300;
  diaginfo.max_lines = 500;
  diaginfo.category_mask = 0x8000;
  diaginfo.level = 0;
  diag_inited = true;
}

void start_diag_thread() {
  diaginfo.active = 1;
}

void diag_reset_state() {
  close_diagwin_file();
  init_diag_info();
}

}  // namespace cx

// The log's one process-wide state record and its lazy initialisation.
#pragma once

#include <cstdint>

namespace cx {

inline constexpr int kDiagTextSize = 256;  // file name and title, NUL included

struct DiagInfo {
  int32_t first_word;
  int32_t file_open;
  int32_t show_window;  // stored only: this agent never shows a window
  int32_t append;
  int32_t reserved1;
  char file_name[kDiagTextSize];
  char title[kDiagTextSize];
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
  int32_t reserved2;
  int32_t max_lines;
  int32_t reserved3[2];
  uint16_t category_mask;  // high half of the configured display level
  uint16_t level;          // low half
  int32_t active;
  int32_t fd;
};

extern DiagInfo diaginfo;
extern bool diag_inited;

// Fills diaginfo with the defaults and marks it initialised.
void init_diag_info();

inline void ensure_diag_info() {
  if (!diag_inited) init_diag_info();
}

// Marks the log active; there is no worker thread behind it.
void start_diag_thread();

// Closes the log file and restores the defaults, so that tests start clean.
void diag_reset_state();

}  // namespace cx

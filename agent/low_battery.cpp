// The alerts land with their own work; until then the events are only noted.
#include "agent/low_battery.h"

#include "diag/diag_writers.h"

namespace cx {

int setLowBatPrevAlertTimes() {
  diag_note_unavailable("setLowBatPrevAlertTimes");
  return 0;
}

int handle_lo_bat_alert() {
  diag_note_unavailable("handle_lo_bat_alert");
  return 0;
}

}  // namespace cx

// The desktop actions land with their own work; until then each notes in the
// log that it was reached.
#include "actions/driver_actions.h"
#include "diag/diag_writers.h"

namespace cx {

void popup_tasklist() {
  diag_note_unavailable("popup_tasklist");
}
void popup_user_menu() {
  diag_note_unavailable("popup_user_menu");
}

}  // namespace cx

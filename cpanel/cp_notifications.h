// What the agent tells the control panel: the attached mice changed, a chord
// was pressed, the agent became active, and (asking whether to save) that it
// is being deactivated. With no control panel running nothing is sent and
// nothing fails.
#pragma once

#include "platform/apple_events.h"
#include "util/file_spec.h"

namespace cx {

// Zeroes *psn, then stores the process that owns `signature` in the
// Apple-event transport (asked for that one name, not found in a list).
// noErr, or procNotFound with *psn zero. `app_file` (may be null) is left as
// it is: the transport does not name application files.
platform::OSErr find_running_app_by_signature(platform::OSType signature,
                                              platform::ProcessSerialNumber* psn, FSSpec* app_file);

// True when `event` was made, addressed to System Preferences or, when that
// does not run, to the control panel application.
bool make_cp_apple_event(platform::OSType event_class, platform::OSType event_id,
                         platform::AppleEvent* event);

// Sent without waiting. Each gives the status of disposing of the event, or
// 0 when no event could be made.
platform::OSErr update_mice();
platform::OSErr send_chord_ae_to_cp();
platform::OSErr send_bkg_activate_ae_to_cp();

// Asks the control panel whether to save and waits, however long it takes;
// true only when it answers 1.
bool send_bkg_deactivate_ae_to_cp();

}  // namespace cx

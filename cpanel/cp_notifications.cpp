#include "cpanel/cp_notifications.h"

#include <cstdint>

#include "cpanel/ae_codes.h"

namespace cx {

using platform::AppleEvent;
using platform::OSErr;
using platform::OSType;

namespace {

// The transport has no priorities, so the Apple Event Manager's high
// priority is not asked for; the control panel is the only receiver anyway.
OSErr notify_cp(OSType event_id) {
  AppleEvent event;
  if (!make_cp_apple_event(ae_code::kSuite, event_id, &event)) return platform::noErr;
  platform::apple_events().send(event, nullptr, platform::AESendMode::no_reply,
                                platform::kNoTimeOut);
  return platform::noErr;
}

}  // namespace

// Walking every process stalls when someone floods the list with names.
OSErr find_running_app_by_signature(OSType signature, platform::ProcessSerialNumber* psn, FSSpec*) {
  return platform::apple_events().find_process_by_signature(signature, *psn);
}

bool make_cp_apple_event(OSType event_class, OSType event_id, AppleEvent* event) {
  platform::ProcessSerialNumber psn;
  // System Preferences hosts the panel; the stand-alone application is the fallback.
  if (find_running_app_by_signature(ae_code::kSystemPreferences, &psn, nullptr) !=
          platform::noErr &&
      find_running_app_by_signature(ae_code::kControlPanelApp, &psn, nullptr) != platform::noErr) {
    return false;
  }
  *event = AppleEvent(event_class, event_id, platform::make_psn_desc(psn));
  return true;
}

OSErr update_mice() {
  return notify_cp(ae_code::kUpdateMice);
}

OSErr send_chord_ae_to_cp() {
  return notify_cp(ae_code::kChord);
}

OSErr send_bkg_activate_ae_to_cp() {
  return notify_cp(ae_code::kBackgroundActivate);
}

bool send_bkg_deactivate_ae_to_cp() {
  int16_t answer = 0;
  AppleEvent event;
  if (make_cp_apple_event(ae_code::kSuite, ae_code::kBackgroundDeactivate, &event)) {
    AppleEvent reply;
    if (platform::apple_events().send(event, &reply, platform::AESendMode::wait_reply,
                                      platform::kNoTimeOut) == platform::noErr) {
      // A missing or odd answer leaves 0: nothing is saved.
      if (reply.get_shor(platform::keyDirectObject, answer) != platform::noErr) answer = 0;
    }
  }
  return answer == 1;
}

}  // namespace cx

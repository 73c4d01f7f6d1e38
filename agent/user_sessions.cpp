#include "agent/user_sessions.h"

#include "agent/agent_state.h"
#include "agent/menu_extra.h"
#include "cpanel/cp_notifications.h"
#include "diag/diag_timestamp.h"
#include "diag/diag_writers.h"
#include "driver/data_requests.h"
#include "driver/device_table.h"
#include "prefs/pref_files.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr uint32_t kTraceLevel = 0x1ffff;
constexpr int16_t kActiveUserRecord = 98;
constexpr int16_t kCodeUserActive = 14;
constexpr int16_t kCodeConsoleChanged = 15;

void activate() {
  pref_data.reset();
  load_user_preferences();
  if (!initialized_devices) {
    diag_line("Updaing ADBID32 Firmware", kTraceLevel);
    updateADBID32Firmware();
    diag_line("Setting Device Descriptors", kTraceLevel);
    setDeviceDescriptors();
    updateMenuExtraHasWheel();
    initialized_devices = 1;
  }
  background_app_active = 1;
  diag_printf("%s:Corvex Background: Background App Activating\n", timestamp());
  send_bkg_activate_ae_to_cp();
}

}  // namespace

int set_active_uid(bool active) {
  diag_printf(active ? "%s:Corvex Background: Setting UID to %ld\n"
                     : "%s:Corvex Background: Clearing UID from %ld\n",
              timestamp(), static_cast<long>(background_uid));
  uint8_t record[8] = {};
  store_be32(record, background_uid);
  store_be16(record + 4, active ? 2 : 1);
  return CXAccessGlobalData(kActiveUserRecord, 1, record, sizeof record);
}

int handle_UID_event(int16_t code, unsigned long uid) {
  diag_printf("%s:Corvex Background: UID Event with uid=%ld, action=%ld\n", timestamp(),
              static_cast<long>(uid), static_cast<long>(code));
  diag_printf("%s:Corvex Background:   (background_uid=%ld, user_session_active=%s)\n", timestamp(),
              static_cast<long>(background_uid), user_session_active ? "true" : "false");
  const bool own_uid = uid == background_uid;
  if (!user_session_active) {
    // Off the console: make sure the driver does not keep serving this user.
    if (code != kCodeConsoleChanged && own_uid) set_active_uid(false);
  } else if (code == kCodeConsoleChanged) {
    set_active_uid(true);
  } else if (code == kCodeUserActive && own_uid) {
    activate();
  }
  return 0;
}

int32_t UserSessionActivatedNotificationHandler(void*, void*, void*) {
  diag_printf("%s:Corvex Background: User Session Activated\n", timestamp());
  user_session_active = 1;
  set_active_uid(true);
  return 0;
}

int32_t UserSessionDeactivatedNotificationHandler(void*, void*, void*) {
  diag_printf("%s:Corvex Background: User Session & Background App Dectivated\n", timestamp());
  background_app_active = 0;
  user_session_active = 0;
  if (send_bkg_deactivate_ae_to_cp()) {
    diag_printf("%s:Corvex Background:   (writing prefs)\n", timestamp());
    write_plist_prefs(&pref_data);
    active_app_sig = 0;
  }
  set_active_uid(false);
  return 0;
}

}  // namespace cx

#include "agent/driver_events.h"

#include <array>

#include "actions/driver_actions.h"
#include "agent/agent_state.h"
#include "agent/low_battery.h"
#include "agent/menu_extra.h"
#include "agent/user_sessions.h"
#include "cpanel/cp_notifications.h"
#include "diag/diag_writers.h"
#include "driver/device_requests.h"

namespace cx {
namespace {

constexpr uint32_t kTraceLevel = 0x1ffff;

using DataAction = void (*)(const uint8_t* data, uint32_t length);
using PlainAction = void (*)();

struct DriverEvent {
  int16_t code;
  const char* line;  // null: nothing logged
  DataAction with_data;
  PlainAction plain;
};

void mice_changed() {
  updateMenuExtraHasWheel();
  update_mice();
}

// Codes missing here (0, 4, 8, 14, 15, 4095 and anything above 16) are ignored.
constexpr std::array<DriverEvent, 12> kDriverEvents{{
    {1, "Launching File", launch_file, nullptr},
    {2, "Launching URL", launch_URL, nullptr},
    {3, "Getting Current URL", get_cur_URL, nullptr},
    {5, "Updating Mice", nullptr, mice_changed},
    {6, "Opening Home Page", nullptr, launch_home_page_URL},
    {7, "Chord Event", nullptr, [] { send_chord_ae_to_cp(); }},
    {9, "Paste Text", paste_text, nullptr},
    {10, "Getting Low Battery Times", nullptr, [] { setLowBatPrevAlertTimes(); }},
    {11, "Issuing Low Battery Alert", nullptr, [] { handle_lo_bat_alert(); }},
    {12, "Application Menu", nullptr, popup_tasklist},
    {13, "Popup Menu", nullptr, popup_user_menu},
    {16, "Horizontal Scrolling Changed", nullptr, updateMenuExtraBundle},
}};

constexpr int16_t kCodeUserActive = 14;
constexpr int16_t kCodeConsoleChanged = 15;

}  // namespace

void cx_notify(void*, const std::string&, uint32_t messageType, uint64_t messageArgument) {
  if ((messageType & kDriverMessageMask) != kDriverMessageBase) return;
  const auto code = static_cast<int16_t>(messageType & kEventCodeMask);
  if (code == kCodeUserActive || code == kCodeConsoleChanged) {
    handle_UID_event(code, static_cast<uint32_t>(messageArgument));
    return;
  }
  if (!background_app_active) return;
  if (code == kEventsQueued) {
    poll_driver_events(true);
  } else {
    handle_driver_event(code, nullptr, 0);
  }
}

void poll_driver_events(bool dispatch) {
  timer_driver_poll_count = 0;
  for (;;) {
    uint32_t length = 0;
    int16_t code = 0;
    const uint8_t* data = GetNextBackgroundEvent(&length, &code);
    if (data == nullptr || code == 0) return;
    if (dispatch) handle_driver_event(code, data, length);
  }
}

void handle_driver_event(int16_t code, const uint8_t* data, uint32_t length) {
  for (const DriverEvent& event : kDriverEvents) {
    if (event.code != code) continue;
    if (event.line != nullptr) diag_line(event.line, kTraceLevel);
    if (event.plain != nullptr) {
      event.plain();
    } else if (data != nullptr && length != 0) {
      event.with_data(data, length);
    }
    return;
  }
}

}  // namespace cx

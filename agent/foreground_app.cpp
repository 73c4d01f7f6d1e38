#include "agent/foreground_app.h"

#include <chrono>
#include <cstring>
#include <string>

#include "agent/agent_callbacks.h"
#include "agent/agent_state.h"
#include "agent/driver_events.h"
#include "diag/diag_writers.h"
#include "driver/app_requests.h"
#include "platform/event_loop.h"
#include "platform/processes.h"
#include "util/login_items.h"

namespace cx {
namespace {

constexpr uint32_t kTraceLevel = 0x1ffff;

platform::EventSourceHandle foreground_timer;
// The window manager's word that the front window changed, where the
// desktop gives one: the driver learns of a switch without waiting for the
// next tick.
platform::EventSourceHandle front_watch;

// Applications that share a creator code count as one, on purpose; only
// those without one are told apart by name.
bool front_app_changed(uint32_t signature, const unsigned char* pascal_name) {
  if (signature != active_app_sig) return true;
  if (signature != platform::kUnknownSignature) return false;
  const std::size_t length = pascal_name[0];
  if (!active_app_name || active_app_name->size() != length) return true;
  return std::strncmp(active_app_name->c_str(), reinterpret_cast<const char*>(pascal_name + 1),
                      length) != 0;
}

void send_front_app_if_changed() {
  platform::ProcessSerialNumber psn;
  if (platform::GetFrontProcess(&psn) != platform::noErr) return;
  platform::ProcessInfo info{};
  if (platform::GetProcessInformation(&psn, &info) != platform::noErr) return;
  if (!front_app_changed(info.signature, info.name.data())) return;

  active_app_sig = info.signature;
  active_app_name.emplace(reinterpret_cast<const char*>(info.name.data() + 1), info.name[0]);
  diag_3line("Switching App to ", active_app_name->c_str(), nullptr, kTraceLevel);
  CXDoSwitchApp(active_app_name->c_str(), static_cast<uint32_t>(active_app_name->size() + 1));
}

}  // namespace

int32_t installForegroundAppTimer() {
  foreground_timer =
      platform::event_loop().add_timer(std::chrono::milliseconds(kForegroundTimerFirstMs),
                                       std::chrono::milliseconds(kForegroundTimerIntervalMs),
                                       [] { agent_routines.foreground_tick(nullptr, nullptr); });
  front_watch = platform::processes().watch_front(foregroundAppChanged);
  return 0;
}

void removeForegroundAppTimer() {
  front_watch.reset();
  foreground_timer.reset();
}

void foregroundAppChanged() {
  if (background_app_active) send_front_app_if_changed();
}

void foregroundAppTimerAction(void*, void*) {
  timer_driver_poll_count =
      static_cast<int16_t>(static_cast<uint16_t>(timer_driver_poll_count) + 1);
  if (timer_driver_poll_count > kDriverPollTicks) {
    if (background_app_active) poll_driver_events(true);
    if (!removed_login_item) {
      removeUnusedLoginItem();
      removed_login_item = 1;
    }
  }
  if (background_app_active) send_front_app_if_changed();
}

int removeUnusedLoginItem() {
  if (!detectLoginItems(1) || !detectLoginItems(0)) return 0;
  removeLoginItems(0);
  return 1;
}

}  // namespace cx

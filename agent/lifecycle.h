// Start-up and tear-down of the agent against the driver, and the Apple
// events it serves itself.
#pragma once

#include <cstdint>

#include "platform/apple_events.h"

namespace cx {

// Set-up statuses besides those of the Apple-event installation.
namespace setup_status {
inline constexpr int16_t no_driver = -10010;
inline constexpr int16_t version_mismatch = -10011;
// -10021 (no master port) and -10022 (no notification port) cannot happen
// with the platform's user-client service.
inline constexpr int16_t no_service = -10023;
inline constexpr int16_t no_interest_notification = -10024;
// Another agent already serves this login session.
inline constexpr int16_t agent_already_running = -10025;
}  // namespace setup_status

// The one driver interface this agent works with: nothing older or newer.
inline constexpr uint16_t kDriverInterfaceVersion = 0x0300;
inline constexpr uint8_t kDriverInterfaceRevision = 1;

// 0 when ready for the event loop, else the first failing step's status.
int setup_backgroundapp();
// Undoes whatever set-up did, in reverse.
void cleanup_backgroundapp();

int install_apple_event_handlers();
int register_event_notifications();
void release_event_notifications();
// 0, or -10011 with the mismatch reported on stderr.
int check_driver_version();
// The driver connection, the drain of stale events, the notifications and
// the version check: what start-up and every reconnection do first.
int setup_driver_link();

platform::OSErr QuitAppleEventHandler(const platform::AppleEvent& event,
                                      platform::AppleEvent& reply, intptr_t refcon);
platform::OSErr MenuExtraAppleEventHandler(const platform::AppleEvent& event,
                                           platform::AppleEvent& reply, intptr_t refcon);

}  // namespace cx

// The "FastUserSwitch" helper bundle's two entry points, looked up by name.
// The agent unloads the helper right after registering, so the helper must
// keep itself loaded (or keep its callbacks elsewhere) for as long as it may
// call the handlers, and must call them on the main loop.
#pragma once

#include <cstdint>

extern "C" {

// A session handler in the Carbon event handler shape (call reference,
// event, user data); both are always null here. Returns 0.
typedef int32_t (*CXSessionEventHandler)(void* call_ref, void* event, void* user_data);

// The session's user identifier and whether it is on the console; 0 on success.
typedef int32_t (*CXGetUserSessionInfo)(uint32_t* uid, uint8_t* is_active);

// Calls `activated` when the session comes to the console and `deactivated`
// when it leaves it.
typedef int32_t (*CXRegisterUserSwitchNotifications)(CXSessionEventHandler activated,
                                                     CXSessionEventHandler deactivated);
}

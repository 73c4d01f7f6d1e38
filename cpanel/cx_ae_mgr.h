// The control panel's side of the agent: handlers for the agent's own
// Apple-event suite and helpers that address events to the control panel or
// to the agent. Only four handlers are bound (by the agent core); the data
// handlers cover the whole driver request API but stay unbound.
#pragma once

#include <cstdint>

#include "cpanel/ae_data_handle.h"
#include "platform/apple_events.h"
#include "util/file_spec.h"

namespace cx {

class CXAEMgr {
 public:
  using AppleEvent = platform::AppleEvent;
  using OSErr = platform::OSErr;
  using OSType = platform::OSType;

  CXAEMgr() = delete;

  // Bound handlers. wprf, rdpf and gbac always return noErr and put their
  // outcome into the reply.
  static OSErr WritePrefsEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t refcon);
  static OSErr RestoreDefaultPrefsEventHandler(const AppleEvent& event, AppleEvent& reply,
                                               intptr_t refcon);
  static OSErr GetBackgroundAppActiveEventHandler(const AppleEvent& event, AppleEvent& reply,
                                                  intptr_t refcon);
  static OSErr GetMouseInfoEventHandler(const AppleEvent& event, AppleEvent& reply,
                                        intptr_t refcon);

  // Unbound data handlers: each reads its parameters, makes one driver
  // request and replies. Those whose only effect is the reply give -1701
  // without asking the driver when there is no reply to fill.
  static OSErr AccessDataEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t refcon);
  static OSErr AccessGlobalDataEventHandler(const AppleEvent& event, AppleEvent& reply,
                                            intptr_t refcon);
  static OSErr AccessAppDataEventHandler(const AppleEvent& event, AppleEvent& reply,
                                         intptr_t refcon);
  static OSErr AllocateSpaceEventHandler(const AppleEvent& event, AppleEvent& reply,
                                         intptr_t refcon);
  static OSErr DeallocateSpaceEventHandler(const AppleEvent& event, AppleEvent& reply,
                                           intptr_t refcon);
  static OSErr GetActionListEventHandler(const AppleEvent& event, AppleEvent& reply,
                                         intptr_t refcon);
  static OSErr GetActionListSizeEventHandler(const AppleEvent& event, AppleEvent& reply,
                                             intptr_t refcon);
  static OSErr GetActionNameEventHandler(const AppleEvent& event, AppleEvent& reply,
                                         intptr_t refcon);
  static OSErr GetDataSizeEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t refcon);
  static OSErr GetMenuActionListEventHandler(const AppleEvent& event, AppleEvent& reply,
                                             intptr_t refcon);
  static OSErr GetMenuActionListSizeEventHandler(const AppleEvent& event, AppleEvent& reply,
                                                 intptr_t refcon);
  static OSErr SetActionListEventHandler(const AppleEvent& event, AppleEvent& reply,
                                         intptr_t refcon);
  static OSErr SetActionNameEventHandler(const AppleEvent& event, AppleEvent& reply,
                                         intptr_t refcon);
  static OSErr SetMenuActionListEventHandler(const AppleEvent& event, AppleEvent& reply,
                                             intptr_t refcon);

  // Zeroes *psn, then stores the first listed process with `signature`.
  // noErr, or the Process Manager's error (procNotFound) with *psn zero.
  // The process list does not name application files here, so `app_file` (may
  // be null) is left as it is.
  static OSErr FindRunningAppBySignature(OSType signature, platform::ProcessSerialNumber* psn,
                                         FSSpec* app_file);
  // Makes `event` addressed to `target` and disposes of the target.
  static OSErr MakeTargetAppleEvent(OSType event_class, OSType event_id, platform::AEDesc& target,
                                    AppleEvent& event);
  // Addressed to System Preferences, else to the control panel application;
  // to process {0, 0} when neither runs.
  static OSErr MakeAppleEventToControlPanel(OSType event_class, OSType event_id, AppleEvent& event);
  // Addressed to the agent's own signature.
  static OSErr MakeAppleEventToBackGroundApp(OSType event_class, OSType event_id,
                                             AppleEvent& event);
  // Copies the `data` parameter, as raw bytes, into a new cleared handle for
  // the caller; with a null `handle` the block is dropped at once. -1701 when
  // there is no `data`, -108 when memory ran out.
  static OSErr ObtainDataFromAppleEvent(const AppleEvent* event, ae_data_handle* handle);
};

}  // namespace cx

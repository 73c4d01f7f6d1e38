// The four handlers the agent binds: save and restore the preference file,
// say whether this agent is active, and hand out the mouse information.
#include "agent/agent_state.h"
#include "cpanel/ae_codes.h"
#include "cpanel/ae_params.h"
#include "cpanel/cx_ae_mgr.h"
#include "driver/device_requests.h"
#include "model/opaque_records.h"
#include "prefs/pref_files.h"

namespace cx {

using platform::AppleEvent;
using platform::OSErr;

OSErr CXAEMgr::WritePrefsEventHandler(const AppleEvent&, AppleEvent& reply, intptr_t) {
  const int result = write_plist_prefs(&pref_data);
  put_reply_shor(reply, static_cast<int16_t>(result));
  return platform::noErr;
}

OSErr CXAEMgr::RestoreDefaultPrefsEventHandler(const AppleEvent& event, AppleEvent& reply,
                                               intptr_t) {
  int16_t which = 0;
  int result = 0;
  if (event.get_shor(ae_code::kData, which) == platform::noErr) {
    // The selector's meaning belongs to the preference store; pass it on as given.
    result = retore_default_prefs(&pref_data, static_cast<uint32_t>(int32_t{which}));
  }
  put_reply_shor(reply, static_cast<int16_t>(result));
  return platform::noErr;
}

OSErr CXAEMgr::GetBackgroundAppActiveEventHandler(const AppleEvent&, AppleEvent& reply, intptr_t) {
  put_reply_shor(reply, background_app_active != 0 ? 1 : 0);
  return platform::noErr;
}

OSErr CXAEMgr::GetMouseInfoEventHandler(const AppleEvent&, AppleEvent& reply, intptr_t) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  mouse_version_info info;
  GetMouseInfo(info);
  return put_reply_bytes(reply, ae_code::kMouseInfo, info.bytes.data(), info.bytes.size());
}

}  // namespace cx

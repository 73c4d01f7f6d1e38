// Addressing events to the control panel or to the agent, and taking a data
// block out of an event.
#include <algorithm>
#include <utility>

#include "cpanel/ae_codes.h"
#include "cpanel/ae_params.h"
#include "cpanel/cp_notifications.h"
#include "cpanel/cx_ae_mgr.h"

namespace cx {

using platform::AEDesc;
using platform::AppleEvent;
using platform::OSErr;
using platform::OSType;

OSErr CXAEMgr::FindRunningAppBySignature(OSType signature, platform::ProcessSerialNumber* psn,
                                         FSSpec* app_file) {
  return find_running_app_by_signature(signature, psn, app_file);
}

OSErr CXAEMgr::MakeTargetAppleEvent(OSType event_class, OSType event_id, AEDesc& target,
                                    AppleEvent& event) {
  event = AppleEvent(event_class, event_id, std::move(target));
  target = AEDesc{};
  return platform::noErr;
}

OSErr CXAEMgr::MakeAppleEventToControlPanel(OSType event_class, OSType event_id,
                                            AppleEvent& event) {
  platform::ProcessSerialNumber psn;
  if (FindRunningAppBySignature(ae_code::kSystemPreferences, &psn, nullptr) != platform::noErr) {
    FindRunningAppBySignature(ae_code::kControlPanelApp, &psn, nullptr);
  }
  AEDesc target = platform::make_psn_desc(psn);
  return MakeTargetAppleEvent(event_class, event_id, target, event);
}

OSErr CXAEMgr::MakeAppleEventToBackGroundApp(OSType event_class, OSType event_id,
                                             AppleEvent& event) {
  platform::ProcessSerialNumber psn;
  FindRunningAppBySignature(ae_code::kBackgroundApp, &psn, nullptr);
  AEDesc target = platform::make_psn_desc(psn);
  return MakeTargetAppleEvent(event_class, event_id, target, event);
}

OSErr CXAEMgr::ObtainDataFromAppleEvent(const AppleEvent* event, ae_data_handle* handle) {
  if (event == nullptr) return platform::paramErr;
  // Any type will do: the block is taken as raw bytes.
  const AEDesc* data = event->find_param(ae_code::kData);
  if (data == nullptr) return platform::errAEDescNotFound;
  ae_data_handle block = ae_data_handle::make_clear(data->data.size());
  if (block.is_null()) return memFullErr;
  std::copy(data->data.begin(), data->data.end(), block.bytes());
  if (handle != nullptr) *handle = std::move(block);
  return platform::noErr;
}

}  // namespace cx

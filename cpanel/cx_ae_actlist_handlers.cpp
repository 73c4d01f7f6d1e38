// Unbound handlers for a button's action lists, its menu entries' lists and
// their name records. An `actl` block is packed 16-byte items, no count.
#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "cpanel/ae_codes.h"
#include "cpanel/ae_params.h"
#include "cpanel/cx_ae_mgr.h"
#include "driver/actlist_requests.h"
#include "model/act_item.h"
#include "model/actlist.h"

namespace cx {

using platform::AppleEvent;
using platform::OSErr;

namespace {

struct button_params {
  uint8_t button = 0;
  uint8_t mods = 0;
  int16_t entry = 0;
};

// `btni` and `modi` as single bytes, and `mnui` when the request names a menu entry.
OSErr read_button_params(const AppleEvent& event, bool with_entry, button_params& p) {
  if (OSErr err = get_byte_param(event, ae_code::kButton, p.button); err != platform::noErr) {
    return err;
  }
  if (OSErr err = get_byte_param(event, ae_code::kModifiers, p.mods); err != platform::noErr) {
    return err;
  }
  return with_entry ? event.get_shor(ae_code::kMenuIndex, p.entry) : platform::noErr;
}

OSErr put_actl_reply(AppleEvent& reply, std::span<const act_item> items) {
  std::vector<uint8_t> bytes(items.size() * kActItemWireSize);
  for (size_t i = 0; i < items.size(); ++i) encode_act_item(items[i], &bytes[i * kActItemWireSize]);
  return put_reply_bytes(reply, ae_code::kActionList, bytes.data(), bytes.size());
}

// Items the driver could not deliver stay zero, so the reply still has the announced size.
OSErr reply_list(AppleEvent& reply, const button_params& p, bool menu) {
  const int16_t count =
      menu ? GetMenuActionListSize(p.mods, p.button, p.entry) : GetActionListSize(p.mods, p.button);
  std::vector<act_item> items(static_cast<size_t>(std::max<int16_t>(count, 0)));
  if (!items.empty()) {
    if (menu) {
      GetMenuActionList(p.mods, p.button, p.entry, items);
    } else {
      GetActionList(p.mods, p.button, items);
    }
  }
  return put_actl_reply(reply, items);
}

// The `actl` block as a chain: whole items only, relinked here since the
// sender's links mean nothing in this process.
OSErr read_actl(const AppleEvent& event, std::vector<act_item>& items) {
  platform::AEDesc desc;
  const OSErr err = event.get_param(ae_code::kActionList, platform::typeWildCard, desc);
  if (err != platform::noErr) return err;
  const size_t count = desc.data.size() / kActItemWireSize;
  if (count > kMaxActlistItems) return platform::paramErr;
  items.resize(count);
  for (size_t i = 0; i < count; ++i) items[i] = decode_act_item(&desc.data[i * kActItemWireSize]);
  link_actlist(items.data(), static_cast<short>(count));
  return platform::noErr;
}

const act_item* head(const std::vector<act_item>& items) {
  return items.empty() ? nullptr : items.data();
}

}  // namespace

OSErr CXAEMgr::GetActionListEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  button_params p;
  if (OSErr err = read_button_params(event, false, p); err != platform::noErr) return err;
  return reply_list(reply, p, false);
}

OSErr CXAEMgr::GetMenuActionListEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  button_params p;
  if (OSErr err = read_button_params(event, true, p); err != platform::noErr) return err;
  return reply_list(reply, p, true);
}

OSErr CXAEMgr::GetActionListSizeEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  button_params p;
  if (OSErr err = read_button_params(event, false, p); err != platform::noErr) return err;
  return put_reply_shor(reply, GetActionListSize(p.mods, p.button));
}

OSErr CXAEMgr::GetMenuActionListSizeEventHandler(const AppleEvent& event, AppleEvent& reply,
                                                 intptr_t) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  button_params p;
  if (OSErr err = read_button_params(event, true, p); err != platform::noErr) return err;
  return put_reply_shor(reply, GetMenuActionListSize(p.mods, p.button, p.entry));
}

OSErr CXAEMgr::GetActionNameEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  if (reply.is_null()) return platform::errAEDescNotFound;
  button_params p;
  if (OSErr err = read_button_params(event, true, p); err != platform::noErr) return err;
  std::array<uint8_t, kActionNameSize> name{};
  GetActionName(p.mods, p.button, p.entry, name);
  return put_reply_bytes(reply, ae_code::kActionName, name.data(), name.size());
}

OSErr CXAEMgr::SetActionListEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  button_params p;
  std::vector<act_item> items;
  if (OSErr err = read_button_params(event, false, p); err != platform::noErr) return err;
  if (OSErr err = read_actl(event, items); err != platform::noErr) return err;
  return put_reply_shor(reply, SetActionList(p.mods, p.button, head(items)));
}

OSErr CXAEMgr::SetActionNameEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  button_params p;
  std::array<uint8_t, kActionNameSize> name{};
  if (OSErr err = read_button_params(event, true, p); err != platform::noErr) return err;
  if (OSErr err = get_bytes_param(event, ae_code::kActionName, name.data(), name.size());
      err != platform::noErr) {
    return err;
  }
  return put_reply_shor(reply, SetActionName(p.mods, p.button, p.entry, name));
}

OSErr CXAEMgr::SetMenuActionListEventHandler(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  button_params p;
  std::vector<act_item> items;
  if (OSErr err = read_button_params(event, true, p); err != platform::noErr) return err;
  // The names (and the optional alias) belong to the request, but the
  // driver takes only the list.
  for (const platform::OSType key : {ae_code::kShortName, ae_code::kLongName}) {
    if (event.find_param(key) == nullptr) return platform::errAEDescNotFound;
  }
  if (OSErr err = read_actl(event, items); err != platform::noErr) return err;
  return put_reply_shor(reply, SetMenuActionList(p.mods, p.button, p.entry, head(items)));
}

}  // namespace cx

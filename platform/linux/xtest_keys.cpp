#include "platform/linux/xtest_keys.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <array>

#include "platform/linux/x11_connection.h"

namespace cx::platform {
namespace {

struct ModifierKey {
  uint16_t virtual_key;
  xcb_keysym_t keysym;
};
// Shortcuts that take Command on a Mac take Control on this desktop.
constexpr std::array<ModifierKey, 1> kModifierKeys{{{0x37, 0xffe3 /* Control_L */}}};

// Latin-1 characters are their own keysyms.
constexpr uint16_t kFirstPrintable = 0x20;
constexpr uint16_t kLatin1End = 0x100;

xcb_keysym_t keysym_for(uint16_t character, uint16_t virtual_key) {
  for (const ModifierKey& key : kModifierKeys)
    if (key.virtual_key == virtual_key) return key.keysym;
  return character >= kFirstPrintable && character < kLatin1End ? character : XCB_NO_SYMBOL;
}

}  // namespace

XTestKeys::XTestKeys(xcb_connection_t* conn)
    : conn_(conn), present_(xcb_get_extension_data(conn, &xcb_test_id)->present != 0) {}

bool XTestKeys::post(uint16_t character, uint16_t virtual_key, bool down) {
  const xcb_keysym_t keysym = keysym_for(character, virtual_key);
  if (!present_ || keysym == XCB_NO_SYMBOL) return false;
  const xcb_keycode_t keycode = keycode_of(keysym);
  if (keycode == 0) return false;
  xcb_test_fake_input(conn_, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME,
                      XCB_NONE, 0, 0, 0);
  xcb_flush(conn_);
  return true;
}

xcb_keycode_t XTestKeys::keycode_of(xcb_keysym_t keysym) {
  const xcb_setup_t* setup = xcb_get_setup(conn_);
  if (keysyms_.empty()) {
    const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const XcbReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        conn_, xcb_get_keyboard_mapping(conn_, setup->min_keycode, count), nullptr));
    if (!reply) return 0;
    const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(reply.get());
    keysyms_.assign(syms, syms + xcb_get_keyboard_mapping_keysyms_length(reply.get()));
    per_keycode_ = reply->keysyms_per_keycode;
  }
  const auto it = std::find(keysyms_.begin(), keysyms_.end(), keysym);
  if (it == keysyms_.end() || per_keycode_ == 0) return 0;
  return static_cast<xcb_keycode_t>(setup->min_keycode + (it - keysyms_.begin()) / per_keycode_);
}

}  // namespace cx::platform

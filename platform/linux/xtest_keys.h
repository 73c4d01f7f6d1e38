// Key events injected with XTest, as if typed on the keyboard: a Mac key is
// found by its keysym in the server's keyboard mapping.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <vector>

namespace cx::platform {

class XTestKeys {
 public:
  explicit XTestKeys(xcb_connection_t* conn);
  // False when the server lacks XTest or the key is on no keycode.
  bool post(uint16_t character, uint16_t virtual_key, bool down);
  // After a MappingNotify: the next key reads the mapping again.
  void mapping_changed() { keysyms_.clear(); }

 private:
  xcb_keycode_t keycode_of(xcb_keysym_t keysym);

  xcb_connection_t* conn_;
  bool present_;
  std::vector<xcb_keysym_t> keysyms_;  // per keycode from the setup's minimum
  uint8_t per_keycode_ = 0;
};

}  // namespace cx::platform

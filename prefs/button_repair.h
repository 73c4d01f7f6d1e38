// Start-up repair of the driver's button settings: a clean reset of the
// global application's buttons, the checks that follow an import of an
// older binary preference file, and the preset buttons' menus.
#pragma once

#include <cstdint>

namespace cx {

// Every button of the global application back to its built-in action,
// every dataspace freed, each preset button given its default menu.
void cleanup_driver_buttons();

// The preset button's own list becomes a one-entry menu, then its entry is
// set as by setup_default_preset; that call's result.
int16_t setup_default_preset_menu(int16_t button);

// Sets the preset button's menu entry 1 to its default action and name; 0,
// or the negative result of AllocateSpace when the address's dataspace
// cannot be made (nothing is set then).
int16_t setup_default_preset(int16_t button);

// Checks the six preset buttons' menus entry by entry after an import,
// correcting and logging what the driver cannot use. `imported_version2`:
// the imported file was a version 2 file.
void fixup_menu_item_preset_buttons(bool imported_version2);

// Puts a web address at the top of a preset button's menu (at most five
// entries, newest first; the oldest drops off a full menu). 1 when stored,
// 0 when no dataspace could be made for the address.
int insert_easy_launch(uint8_t app, uint8_t button, const char* url, const char* title,
                       bool home_page);

}  // namespace cx

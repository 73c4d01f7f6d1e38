// What the agent does for the driver's buttons: launching files and URLs,
// capturing the browser's page, pasting text, popping up menus. The event
// dispatch has already logged the event; data points into the driver's reply
// buffer and is valid only until the next driver request.
#pragma once

#include <cstdint>

namespace cx {

void launch_file(const uint8_t* data, uint32_t length);
void launch_URL(const uint8_t* data, uint32_t length);
void launch_home_page_URL();
void get_cur_URL(const uint8_t* data, uint32_t length);
void paste_text(const uint8_t* text, uint32_t length);
void popup_tasklist();
void popup_user_menu();

}  // namespace cx

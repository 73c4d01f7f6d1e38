// The response a button has when the user has not changed it: the default
// preferences' first application set, or their global buttons for the
// preset buttons.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "plist/value.h"
#include "tools/corvexctl/scrolling_record.h"

namespace cx::corvexctl {

// Null when the default preferences hold none.
std::shared_ptr<const plist::Dictionary> default_response(uint8_t button);

// The scrolling record that the default preferences' first application set
// gives.
ScrollingRecord default_scrolling();

// The buttons of an application set (not the presets) that have a default
// response, in the preference keys' order.
std::vector<uint8_t> application_buttons();

}  // namespace cx::corvexctl

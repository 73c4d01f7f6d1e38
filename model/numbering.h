// Numbers that the driver, the preference file and the control panel agree
// on: the preset buttons and the range of global dataspaces.
#pragma once

#include <cstdint>

namespace cx {

// Buttons 18 to 23 are the six preset buttons, whose responses are global.
inline constexpr uint8_t kFirstPresetButton = 18;
inline constexpr uint8_t kLastPresetButton = 23;

constexpr bool is_preset_button(int button) {
  return button >= kFirstPresetButton && button <= kLastPresetButton;
}

// Dataspaces 256 to 319 are global; lower ones belong to one application.
inline constexpr int16_t kFirstGlobalDataspace = 256;
inline constexpr int16_t kEndGlobalDataspace = 320;  // exclusive

}  // namespace cx

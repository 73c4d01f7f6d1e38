// The driver's 180-byte mouse information record, printed for people.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cx::corvexctl {

inline constexpr size_t kMouseInfoSize = 180;

// The record as text, one field a line; false (and `text` empty) unless it is 180 bytes.
bool format_mouse_info(const std::vector<uint8_t>& record, std::string& text);

}  // namespace cx::corvexctl

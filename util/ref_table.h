// The table behind the reference numbers: one slot per open descriptor.
#pragma once

#include <cstdint>
#include <string>

namespace cx {

// Opens the regular file at `path` with an open_file permission and gives it
// a reference number; -1 on failure.
int16_t open_ref(const std::string& path, int8_t permission);
// The descriptor behind `ref`, or -1.
int descriptor_of(int16_t ref);
// Closes and frees the slot; false for an unknown reference number.
bool close_ref(int16_t ref);

}  // namespace cx

// Requests on application sets: the front application, the application
// being edited, the sets' names, and control-panel mode.
#pragma once

#include <cstdint>
#include <span>

namespace cx {

// Tells the driver which application is in front; the reply data or null.
const uint8_t* CXDoSwitchApp(const void* data, uint32_t length);

// Selects the application set to edit by key and name (C strings; two empty
// strings select the global one). Status, 0 on failure.
int16_t CurrentEditApp(const char* name1, const char* name2);

// The key and name of application set `index` (from 1), or of the set being
// edited. Each name is copied as a C string, cut to fit its buffer. 1 when
// both came back; 0 otherwise (name1 may have been filled then).
int16_t GetAppName(int16_t index, std::span<char> name1, std::span<char> name2);
int16_t QueryEditApp(std::span<char> name1, std::span<char> name2);

// Status, 0 on failure.
int16_t DeleteAppName(const char* name);
int16_t InControlPanel(uint8_t flag);

}  // namespace cx

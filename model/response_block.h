// Response blocks: one button response (header, action items, dataspaces)
// framed as a transfer block, and the builders that produce them.
//
// Builders write into a caller-given buffer and return the size the whole
// block needs; a result above the buffer length means it did not fit and
// the caller grows the buffer and builds again.
#pragma once

#include <cstdint>

#include "driver/transfer_block.h"
#include "model/act_item.h"

namespace cx {

// Payload layout of a response block.
namespace response_header {
inline constexpr uint32_t button_id = 0;
inline constexpr uint32_t mods = 1;
inline constexpr uint32_t menuidx = 2;
inline constexpr uint32_t name = 4;
inline constexpr uint32_t name_size = 32;
inline constexpr uint32_t shortcut_id = 36;
inline constexpr uint32_t flags = 38;
inline constexpr uint32_t num_actions = 40;
inline constexpr uint32_t num_dataspaces = 42;
inline constexpr uint32_t size = 44;
}  // namespace response_header

// Payload layout of a dataspace block nested in a response block.
namespace dataspace_header {
inline constexpr uint32_t ds_index = 0;
inline constexpr uint32_t ds_length = 2;
inline constexpr uint32_t size = 4;
}  // namespace dataspace_header

inline constexpr uint8_t kNoShortcut = 255;
inline constexpr uint16_t kResponseFlagGlobal = 0x0004;
inline constexpr uint16_t kResponseFlagPreset = 0x8006;

// Appends the 44-byte header to an open transfer block. The header stores
// the button before the modifiers. At most 31 name characters survive; the
// pad byte at offset 37 is left as it was.
void add_response_block_header(CXTransferContext* transfer, uint8_t mods, uint8_t button_id,
                               int16_t menuidx, const char* name, uint16_t flags,
                               uint8_t shortcut_id, uint16_t num_actions, uint16_t num_dataspaces);

// A block of `count` items taken from the packed array `actlist`; Menuidx is
// menu_index & 0xFF, flags are Global when `global` is set.
uint32_t build_actlist_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                      uint8_t button_id, int menu_index, bool global,
                                      const act_item* actlist, uint16_t count, const char* name);

// A dataspace block: {ds_index, length} and `length` data bytes.
uint32_t build_dataspace_block(void* buffer, uint32_t buffer_length, const void* data,
                               uint16_t length, int16_t ds_index);

// As build_actlist_response_block, followed by one dataspace block.
uint32_t build_dataspace_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                        uint8_t button_id, int menu_index, bool global,
                                        const act_item* actlist, uint16_t count, const void* data,
                                        uint16_t length, int16_t ds_index, const char* name);

// A button that opens its own menu of `entry_count` entries.
uint32_t build_menu_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                   uint8_t button_id, bool preset, uint16_t entry_count,
                                   const char* name);

uint32_t build_click_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                    uint8_t button_id, int menu_index, bool global);
uint32_t build_rclick_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                     uint8_t button_id, int menu_index, bool global);
uint32_t build_drag_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                   uint8_t button_id, int menu_index, bool global);
uint32_t build_dclick_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                     uint8_t button_id, int menu_index, bool global);
// Launches `url`: one dataspace (index 0) holding the URL and its NUL. The
// name is the URL without its "scheme://" prefix, cut to the name field.
uint32_t build_launch_url_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                         uint8_t button_id, int menu_index, bool global,
                                         const char* url);

}  // namespace cx

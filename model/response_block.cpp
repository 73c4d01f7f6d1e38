#include "model/response_block.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "model/builtin_actlists.h"
#include "util/byte_order.h"

namespace cx {
namespace {

void add_items(CXTransferContext* ctx, const act_item* items, uint16_t count) {
  uint8_t* wire = CXTransferTakeSpace(ctx, count * kActItemWireSize);
  if (!wire) return;
  for (uint16_t i = 0; i < count; ++i) encode_act_item(items[i], wire + i * kActItemWireSize);
}

void start_response_block(CXTransferContext* ctx, void* buffer, uint32_t buffer_length,
                          uint8_t mods, uint8_t button_id, int menu_index, bool global,
                          const act_item* actlist, uint16_t count, uint16_t num_dataspaces,
                          const char* name) {
  CXTransferStart(ctx, buffer, buffer_length);
  add_response_block_header(ctx, mods, button_id, static_cast<int16_t>(menu_index & 0xFF), name,
                            global ? kResponseFlagGlobal : 0, kNoShortcut, count, num_dataspaces);
  add_items(ctx, actlist, count);
}

// A dataspace's length is 16 bits and a URL keeps its NUL.
constexpr size_t kMaxUrlLength = 0xFFFE;

std::string_view url_display_name(std::string_view url) {
  const size_t scheme_end = url.find("://");
  return scheme_end == std::string_view::npos ? url : url.substr(scheme_end + 3);
}

}  // namespace

void add_response_block_header(CXTransferContext* transfer, uint8_t mods, uint8_t button_id,
                               int16_t menuidx, const char* name, uint16_t flags,
                               uint8_t shortcut_id, uint16_t num_actions, uint16_t num_dataspaces) {
  namespace h = response_header;
  uint8_t* header = CXTransferTakeSpace(transfer, h::size);
  if (!header) return;
  header[h::button_id] = button_id;
  header[h::mods] = mods;
  store_be16(header + h::menuidx, static_cast<uint16_t>(menuidx));
  uint8_t* name_field = header + h::name;
  const size_t name_length = name ? strnlen(name, h::name_size) : 0;
  if (name_length) std::memcpy(name_field, name, name_length);
  std::memset(name_field + name_length, 0, h::name_size - name_length);
  name_field[h::name_size - 1] = 0;
  header[h::shortcut_id] = shortcut_id;
  store_be16(header + h::flags, flags);
  store_be16(header + h::num_actions, num_actions);
  store_be16(header + h::num_dataspaces, num_dataspaces);
}

uint32_t build_actlist_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                      uint8_t button_id, int menu_index, bool global,
                                      const act_item* actlist, uint16_t count, const char* name) {
  CXTransferContext ctx;
  start_response_block(&ctx, buffer, buffer_length, mods, button_id, menu_index, global, actlist,
                       count, 0, name);
  return CXTransferEnd(&ctx);
}

uint32_t build_dataspace_block(void* buffer, uint32_t buffer_length, const void* data,
                               uint16_t length, int16_t ds_index) {
  CXTransferContext ctx;
  CXTransferStart(&ctx, buffer, buffer_length);
  if (uint8_t* header = CXTransferTakeSpace(&ctx, dataspace_header::size)) {
    store_be16(header + dataspace_header::ds_index, static_cast<uint16_t>(ds_index));
    store_be16(header + dataspace_header::ds_length, length);
  }
  CXTransferAdd(&ctx, data, length);
  return CXTransferEnd(&ctx);
}

uint32_t build_dataspace_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                        uint8_t button_id, int menu_index, bool global,
                                        const act_item* actlist, uint16_t count, const void* data,
                                        uint16_t length, int16_t ds_index, const char* name) {
  CXTransferContext ctx;
  start_response_block(&ctx, buffer, buffer_length, mods, button_id, menu_index, global, actlist,
                       count, 1, name);
  // The nested block is built straight into the outer block's free space.
  uint32_t avail = 0;
  uint8_t* space = CXTransferAvailSpace(&ctx, &avail);
  CXTransferTakeSpace(&ctx, build_dataspace_block(space, avail, data, length, ds_index));
  return CXTransferEnd(&ctx);
}

uint32_t build_menu_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                   uint8_t button_id, bool preset, uint16_t entry_count,
                                   const char* name) {
  act_item item = menu_action;
  item.ch12 = entry_count;
  CXTransferContext ctx;
  CXTransferStart(&ctx, buffer, buffer_length);
  add_response_block_header(&ctx, mods, button_id, 0, name, preset ? kResponseFlagPreset : 0,
                            kNoShortcut, 1, 0);
  add_items(&ctx, &item, 1);
  return CXTransferEnd(&ctx);
}

uint32_t build_click_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                    uint8_t button_id, int menu_index, bool global) {
  return build_actlist_response_block(buffer, buffer_length, mods, button_id, menu_index, global,
                                      click_actlist.data(), click_actlist.size(), "Click");
}

uint32_t build_rclick_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                     uint8_t button_id, int menu_index, bool global) {
  return build_actlist_response_block(buffer, buffer_length, mods, button_id, menu_index, global,
                                      rclick_actlist.data(), rclick_actlist.size(), "Right-Click");
}

uint32_t build_drag_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                   uint8_t button_id, int menu_index, bool global) {
  return build_actlist_response_block(buffer, buffer_length, mods, button_id, menu_index, global,
                                      drag_actlist.data(), drag_actlist.size(), "Drag");
}

uint32_t build_dclick_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                     uint8_t button_id, int menu_index, bool global) {
  return build_actlist_response_block(buffer, buffer_length, mods, button_id, menu_index, global,
                                      dclick_actlist.data(), dclick_actlist.size(), "Double-Click");
}

uint32_t build_launch_url_response_block(void* buffer, uint32_t buffer_length, uint8_t mods,
                                         uint8_t button_id, int menu_index, bool global,
                                         const char* url) {
  const std::string_view full = url ? url : "";
  // The dataspace holds the text and its NUL; a string keeps the NUL when cut.
  const std::string text(full.substr(0, kMaxUrlLength));
  const std::string name(url_display_name(text));
  return build_dataspace_response_block(buffer, buffer_length, mods, button_id, menu_index, global,
                                        launch_url_actlist.data(), launch_url_actlist.size(),
                                        text.c_str(), static_cast<uint16_t>(text.size() + 1), 0,
                                        name.c_str());
}

}  // namespace cx

// Keystroke responses: a list of keys, each with its modifiers, stored in
// the preference file in the readable notation.
#include <cstdio>
#include <string>

#include "driver/transfer_block.h"
#include "model/response_block.h"
#include "responses/notation.h"
#include "responses/notation_tables.h"
#include "responses/resp_block.h"
#include "responses/resp_header.h"
#include "responses/response_kinds.h"

namespace cx {

void build_keystroke_response(resp_work* work, const plist::Value* value) {
  const auto* keys = plist::as<plist::Array>(value);
  if (!keys) {
    std::fprintf(stderr, "Corvex Background: Invalid Keystroke Response - Not an array\n");
    return;
  }
  // Built in the free space and taken only when every key is valid.
  uint32_t avail = 0;
  uint8_t* space = CXTransferAvailSpace(work->transfer, &avail);
  CXTransferContext block;
  CXTransferStart(&block, space, avail);
  const std::string name(resp_name(*work));
  add_response_block_header(&block, resp_mods(*work), resp_button(*work),
                            static_cast<int16_t>(resp_menu_index(*work) & 0xFF), name.c_str(),
                            resp_is_global(*work) ? kResponseFlagGlobal : 0, kNoShortcut,
                            static_cast<uint16_t>(keys->size()), 0);
  for (const auto& key : keys->items()) {
    const auto* text = plist::as<plist::String>(key);
    if (!text) {
      std::fprintf(stderr, "Corvex Background: Invalid Keystroke Response - Not a string\n");
      return;
    }
    uint8_t mods = 0;
    uint16_t code = 0;
    if (!extract_keystroke(text->text(), &mods, &code)) {
      std::fprintf(stderr, "Corvex Background: Invalid Keystroke Response - Not a keystroke: \n");
      return;
    }
    if (uint8_t* wire = CXTransferTakeSpace(&block, kActItemWireSize))
      encode_act_item(make_act_item(mods, code, 2, kKeystrokeAct, 0), wire);
  }
  CXTransferTakeSpace(work->transfer, CXTransferEnd(&block));
}

bool is_keystroke_response(resp_work work) {
  resp_block_view view;
  if (resp_action_count(work) == 0 || !view_resp_block(work, &view)) return false;
  for (uint16_t i = 0; i < view.action_count; ++i)
    if (view.item(i).act != kKeystrokeAct) return false;
  return true;
}

plist::ValueRef make_keystroke_pref(resp_work* work) {
  resp_block_view view;
  if (!take_resp_block(work, &view)) return nullptr;
  auto keys = plist::make_array();
  for (uint16_t i = 0; i < view.action_count; ++i) {
    const act_item item = view.item(i);
    std::optional<std::string> text = build_keystroke(item.ch12, static_cast<uint8_t>(item.mods));
    if (!text) {
      std::fprintf(stderr, "Corvex Background: Cannot make keystroke prefs - no string");
      return nullptr;
    }
    keys->append(plist::make_string(std::move(*text)));
  }
  return keys;
}

}  // namespace cx

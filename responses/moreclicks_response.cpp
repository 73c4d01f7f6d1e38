// "MoreClicks" responses: a single or double click of any button, with
// modifier keys, optionally held until the button is released.
#include <array>
#include <cstdio>
#include <string>

#include "responses/notation.h"
#include "responses/notation_tables.h"
#include "responses/resp_block.h"
#include "responses/resp_emit.h"
#include "responses/resp_header.h"
#include "responses/resp_tables.h"
#include "responses/response_kinds.h"

namespace cx {
namespace {

constexpr uint16_t kClickRestrictions = MODIFIERS_NO_KEYSTROKES | MODIFIERS_NO_CLICKS;
// The release of a dragging click waits for the end of the button press.
constexpr uint8_t kSeqPress = 1;
constexpr uint8_t kSeqRelease = 2;
constexpr uint8_t kSeqHeld = 8;

// A member of the wrong type is reported and read as absent.
template <class T>
const T* member(const plist::Dictionary& dict, std::string_view key) {
  const plist::ValueRef value = dict.get(key);
  const T* typed = plist::as<T>(value);
  if (value && !typed)
    std::fprintf(stderr, "Corvex Background: Invalid More Clicks Response - Bad %s\n",
                 std::string(key).c_str());
  return typed;
}

bool flag(const plist::Dictionary& dict, std::string_view key) {
  const auto* value = member<plist::Boolean>(dict, key);
  return value && value->value();
}

const moreclicks_row* find_click(int16_t press, int16_t release, uint16_t ch12) {
  for (const auto& row : moreclicks_table) {
    const bool numbered = row.ch12 != 0;
    if (row.press == static_cast<uint16_t>(press) &&
        row.release == static_cast<uint16_t>(release) && (!numbered || row.ch12 == ch12))
      return &row;
  }
  return nullptr;
}

}  // namespace

void build_moreclicks_response(resp_work* work, const plist::Value* value) {
  const auto* dict = plist::as<plist::Dictionary>(value);
  if (!dict) {
    std::fprintf(stderr, "Corvex Background: Invalid More Clicks Response - Not a Dictionary\n");
    return;
  }
  const auto* modifiers = member<plist::String>(*dict, "Modifiers");
  const uint8_t mods =
      modifiers ? extract_modifiers(nullptr, modifiers->text(), kClickRestrictions) : 0;
  const bool drag = flag(*dict, "Drag");
  const bool twice = flag(*dict, "Double");
  const moreclicks_row* click = &moreclicks_table.front();
  if (const auto* id = member<plist::String>(*dict, "ClickID")) {
    for (const auto& row : moreclicks_table)
      if (row.name == id->text()) {
        click = &row;
        break;
      }
  }
  const auto press = static_cast<int16_t>(click->press);
  const auto release = static_cast<int16_t>(click->release);
  const uint8_t last = drag ? kSeqHeld : kSeqRelease;
  const std::array<act_item, 4> items = {
      make_act_item(mods, click->ch12, kSeqPress, press, 0),
      make_act_item(mods, click->ch12, twice ? kSeqPress : last, release, 0),
      make_act_item(mods, click->ch12, kSeqPress, press, 0),
      make_act_item(mods, click->ch12, last, release, 0),
  };
  add_actlist_resp_block(work, items.data(), twice ? 4 : 2);
}

bool is_moreclicks_response(resp_work work) {
  const uint16_t count = resp_action_count(work);
  resp_block_view view;
  if ((count != 2 && count != 4) || !view_resp_block(work, &view)) return false;
  const act_item first = view.item(0);
  const act_item second = view.item(1);
  const act_item last = view.item(count - 1u);
  if (first.act_seq != kSeqPress) return false;
  if (count == 4) {
    const act_item third = view.item(2);
    if (second.act_seq != kSeqPress || third.act_seq != kSeqPress || third.act != first.act ||
        last.act != second.act)
      return false;
  }
  if (last.act_seq != kSeqRelease && last.act_seq != kSeqHeld) return false;
  const moreclicks_row* click = find_click(first.act, second.act, first.ch12);
  if (!click) return false;
  // The numbered buttons name themselves in every item's ch12.
  if (click->ch12 != 0)
    for (uint16_t i = 1; i < count; ++i)
      if (view.item(i).ch12 != click->ch12) return false;
  return true;
}

plist::ValueRef make_moreclicks_pref(resp_work* work) {
  resp_block_view view;
  if (!take_resp_block(work, &view)) return nullptr;
  const bool twice = view.action_count == 4;
  if (!twice && view.action_count != 2) return nullptr;
  auto dict = plist::make_dictionary();
  const act_item first = view.item(0);
  const auto mods = static_cast<uint8_t>(first.mods);
  if (mods) {
    std::optional<std::string> text = prepend_modifiers(mods, kClickRestrictions, std::nullopt);
    if (!text) {
      std::fprintf(stderr,
                   "Corvex Background: Cannot make more clicks prefs - no modifiers string");
      return nullptr;
    }
    dict->set("Modifiers", plist::make_string(std::move(*text)));
  }
  for (const auto& row : moreclicks_table) {
    if (row.press == static_cast<uint16_t>(first.act) &&
        (row.ch12 == 0 || row.ch12 == first.ch12)) {
      dict->set("ClickID", plist::make_string(std::string(row.name)));
      break;
    }
  }
  dict->set("Double", plist::make_bool(twice));
  dict->set("Drag", plist::make_bool(view.item(twice ? 3 : 1).act_seq == kSeqHeld));
  return dict;
}

}  // namespace cx

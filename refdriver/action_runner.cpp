#include "refdriver/action_runner.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "model/action_codes.h"
#include "refdriver/driver_status.h"
#include "refdriver/event_codes.h"
#include "refdriver/input/key_codes.h"
#include "refdriver/input/pointer_output.h"
#include "refdriver/limits.h"
#include "refdriver/record_store.h"
#include "responses/notation_tables.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

constexpr size_t kNameFlags = 34;
constexpr uint16_t kFifthButtonClick = 5;  // ch12 of the extra-button clicks

struct Click {
  int16_t act;
  const char* text;
  bool down;
  uint16_t button;  // the extra buttons' one is BTN_SIDE, BTN_EXTRA for ch12 5
};
constexpr Click kClicks[] = {
    {0x0001, "primary button down", true, BTN_LEFT},
    {0x0002, "primary button up", false, BTN_LEFT},
    {0x0004, "secondary button down", true, BTN_RIGHT},
    {0x0008, "secondary button up", false, BTN_RIGHT},
    {0x0010, "middle button down", true, BTN_MIDDLE},
    {0x0020, "middle button up", false, BTN_MIDDLE},
    {0x0040, "extra button down", true, BTN_SIDE},
    {0x0080, "extra button up", false, BTN_SIDE},
};

std::string format(const char* fmt, auto... args) {
  char line[256];
  std::snprintf(line, sizeof line, fmt, args...);
  return line;
}

std::string item_text(const act_item& item) {
  return format("act=0x%04x ch12=0x%04x mods=0x%04x seq=%u", static_cast<uint16_t>(item.act),
                item.ch12, item.mods, item.act_seq);
}

uint64_t pressed_key(uint32_t device, uint8_t button) {
  return (uint64_t{device} << 8) | button;
}

}  // namespace

const StoredResponse* ActionRunner::find(uint8_t button, uint8_t mods, AppSet*& owner) {
  const uint32_t key = response_key(mods, button, 0);
  owner = is_preset_button(button) ? &state_.apps.global() : &state_.apps.front();
  const StoredResponse* r = state_.response(*owner, key);
  if ((!r || !r->has_list) && owner->id != 0) {
    owner = &state_.apps.global();
    r = state_.response(*owner, key);
  }
  return r && r->has_list ? r : nullptr;
}

bool ActionRunner::has_list(uint8_t button, uint8_t mods) {
  AppSet* owner = nullptr;
  return find(button, mods, owner) != nullptr;
}

void ActionRunner::press(uint8_t button, uint8_t mods) {
  down(button, mods, 0);
  up(button, 0);
}

bool ActionRunner::down(uint8_t button, uint8_t mods, uint32_t device) {
  // The capture dialog waits for the user's next press.
  if (std::span<uint8_t> capture = state_.global_record(kUrlCapturedIndex); !capture.empty()) {
    capture[3] = static_cast<uint8_t>(capture[3] & ~kUrlCapturedBit);
  }
  AppSet* owner = nullptr;
  const StoredResponse* r = find(button, mods, owner);
  const std::string where =
      state_.apps.front_name().empty() ? std::string("(none)") : state_.apps.front_name();
  if (!r) {
    sink_.log(
        format("press button %u mods 0x%02x in %s: no action list", button, mods, where.c_str()));
    return false;
  }
  sink_.log(format("press button %u mods 0x%02x in %s: %s set, %zu items", button, mods,
                   where.c_str(), owner->id == 0 ? "global" : "application", r->item_count()));
  if (load_be16(&r->name[kNameFlags]) == kReprogramUrlFlags) {
    const uint8_t data[2] = {0, button};
    finish(queue(event_code::capture_url, data) ? 1 : 0);
    return true;
  }
  // Copied: the agent may replace the list before the release.
  Pressed& pressed = pressed_[pressed_key(device, button)];
  pressed = {owner->id, mods, r->items};
  finish(run(*owner, mods, button, pressed.items, false, Holder{device, button}));
  return true;
}

void ActionRunner::up(uint8_t button, uint32_t device) {
  const Holder holder{device, button};
  const auto it = pressed_.find(pressed_key(device, button));
  if (it != pressed_.end()) {
    const Pressed pressed = std::move(it->second);
    pressed_.erase(it);
    if (AppSet* owner = state_.apps.find(pressed.set_id)) {
      finish(run(*owner, pressed.mods, button, pressed.items, true, holder));
    }
  }
  if (state_.output) {
    state_.output->release_held_by(holder);
    state_.output->flush();
  }
}

void ActionRunner::forget(uint32_t device) {
  std::erase_if(pressed_, [&](const auto& p) { return p.first >> 8 == device; });
}

int16_t ActionRunner::execute_menu_item(uint16_t entry) {
  const MenuList& menu = state_.menu;
  if (!menu.pending || entry < 1 || entry + 1u > menu.slots.size()) return kNotFound;
  AppSet* owner = state_.apps.find(menu.set_id);
  const StoredResponse* r =
      owner ? state_.response(*owner, response_key(menu.mods, menu.button, entry)) : nullptr;
  if (!r || !r->has_list) return kNotFound;
  sink_.log(format("menu entry %u of button %u", entry, menu.button));
  const uint8_t mods = menu.mods;
  const uint8_t button = menu.button;
  // Copied: opening a menu replaces the one this entry belongs to.
  const std::vector<uint8_t> items = r->items;
  const Holder holder{0, button};
  size_t queued = run(*owner, mods, button, items, false, holder);
  queued += run(*owner, mods, button, items, true, holder);
  if (state_.output) {
    state_.output->release_held_by(holder);
    state_.output->flush();
  }
  finish(queued);
  return kDone;
}

size_t ActionRunner::run(AppSet& owner, uint8_t mods, uint8_t button,
                         std::span<const uint8_t> items, bool release_phase, const Holder& holder) {
  size_t queued = 0;
  for (size_t at = 0; at + kItemSize <= items.size(); at += kItemSize) {
    const act_item item = decode_act_item(&items[at]);
    if ((item.act_seq == kReleaseStep) != release_phase) continue;
    const auto click = std::find_if(std::begin(kClicks), std::end(kClicks),
                                    [&](const Click& c) { return c.act == item.act; });
    if (click != std::end(kClicks)) {
      sink_.log(format("  click: %s (%s)", click->text, item_text(item).c_str()));
      perform(item, holder);
      continue;
    }
    switch (item.act) {
      case act_code::menu:
        queued += open_menu(owner, mods, button, item.ch12);
        break;
      case act_code::scroll:
        if (item.ch12 == scroll_code::toggle_horizontal) {
          set_global_bits(kHorizontalScrollIndex, kHorizontalScrollBit, true);
          sink_.log("  horizontal scrolling toggled");
          sink_.notify(event_code::hscroll_changed, 0);
        } else {
          sink_.log(format("  scroll: %s", item_text(item).c_str()));
          perform(item, holder);
        }
        break;
      case act_code::home_page:
        queued += queue(event_code::home_page, {}) ? 1 : 0;
        break;
      case act_code::app_menu:
        set_global_bits(kPendingPopupIndex, kPendingPopupBit, false);
        queued += queue(event_code::application_menu, {}) ? 1 : 0;
        break;
      case act_code::paste_text:
      case act_code::launch_file:
      case act_code::launch_url: {
        const std::vector<uint8_t>* data = state_.dataspaces.find(owner, item.ch12);
        if (!data) {
          sink_.log(format("  dataspace %u is missing: %s", item.ch12, item_text(item).c_str()));
          break;
        }
        const int16_t code = item.act == act_code::paste_text    ? event_code::paste_text
                             : item.act == act_code::launch_file ? event_code::launch_file
                                                                 : event_code::launch_url;
        queued += queue(code, *data) ? 1 : 0;
        break;
      }
      default:
        sink_.log(format("  keystroke: %s", item_text(item).c_str()));
        perform(item, holder);
    }
  }
  return queued;
}

void ActionRunner::perform(const act_item& item, const Holder& holder) {
  PointerOutput* out = state_.output;
  if (!out) return;
  const auto mods = static_cast<uint8_t>(item.mods);
  const auto click = std::find_if(std::begin(kClicks), std::end(kClicks),
                                  [&](const Click& c) { return c.act == item.act; });
  if (click != std::end(kClicks)) {
    const uint16_t code =
        click->button == BTN_SIDE && item.ch12 == kFifthButtonClick ? BTN_EXTRA : click->button;
    if (click->down) {
      out->press_modifiers(mods, holder);
      out->press(code, holder);
    } else {
      out->release(code);
      out->release_modifiers(mods);
    }
  } else if (item.act == act_code::scroll) {
    // One step at the press; the step's other item only ends it.
    if (item.ch12 == scroll_code::mouse_scroll) {
      out->motion_scrolls = item.act_seq != kReleaseStep;
    } else if (item.act_seq == 1 &&
               (item.ch12 == scroll_code::up || item.ch12 == scroll_code::down)) {
      out->relative(REL_WHEEL, item.ch12 == scroll_code::up ? 1 : -1);
    }
  } else if (item.act == kKeystrokeAct) {
    const uint16_t key = linux_key(item.ch12);
    if (key == 0) return;
    out->press_modifiers(mods, holder);
    out->press(key, holder);
    // A key of the press's first step is held until the button comes up.
    if (item.act_seq != 1) {
      out->release(key);
      out->release_modifiers(mods);
    }
  }
  out->frame();
}

size_t ActionRunner::open_menu(AppSet& owner, uint8_t mods, uint8_t button, uint16_t entries) {
  MenuList menu;
  menu.pending = true;
  menu.set_id = owner.id;
  menu.mods = mods;
  menu.button = button;
  menu.x = state_.mouse_x;
  menu.y = state_.mouse_y;
  entries = std::min(entries, kMaxMenuEntry);
  menu.slots.resize(entries + 1u);
  for (uint16_t e = 1; e <= entries; ++e) {
    if (const StoredResponse* r = state_.response(owner, response_key(mods, button, e))) {
      std::copy_n(r->name.begin(), kMenuNameSize - 1, menu.slots[e - 1u].begin());
    }
  }
  state_.menu = std::move(menu);
  set_global_bits(kPendingPopupIndex, kPendingPopupBit, false);
  return queue(event_code::popup_menu, {}) ? 1 : 0;
}

bool ActionRunner::queue(int16_t code, std::span<const uint8_t> data) {
  if (!state_.events.push(code, data)) {
    sink_.log(format("  event %d dropped: the queue is full", code));
    return false;
  }
  sink_.log(format("  queued event %d with %zu bytes", code, data.size()));
  return true;
}

void ActionRunner::set_global_bits(uint16_t index, uint16_t bits, bool toggle) {
  std::span<uint8_t> record = state_.global_record(index);
  const uint16_t value = load_be16(record.data());
  store_be16(record.data(), static_cast<uint16_t>(toggle ? value ^ bits : value | bits));
}

void ActionRunner::finish(size_t queued) {
  if (queued > 0) sink_.notify(event_code::drain_queue, 0);
}

}  // namespace cx::refdriver

#include "refdriver/input/pointer_output.h"

#include <linux/input-event-codes.h>

#include <algorithm>

#include "refdriver/input/key_codes.h"

namespace cx::refdriver {

void PointerOutput::press(uint16_t code, Holder holder) {
  if (code == 0) return;
  if (std::any_of(held_.begin(), held_.end(), [&](const Held& h) { return h.code == code; })) {
    return;
  }
  held_.push_back({code, holder});
  key(code, 1);
}

void PointerOutput::release(uint16_t code) {
  const auto it =
      std::find_if(held_.begin(), held_.end(), [&](const Held& h) { return h.code == code; });
  if (it == held_.end()) return;
  held_.erase(it);
  key(code, 0);
}

void PointerOutput::press_modifiers(uint8_t mods, Holder holder) {
  for (const ModifierKey& m : modifier_keys())
    if (mods & m.bit) press(m.key, holder);
}

void PointerOutput::release_modifiers(uint8_t mods) {
  const std::span<const ModifierKey> keys = modifier_keys();
  for (auto it = keys.rbegin(); it != keys.rend(); ++it)
    if (mods & it->bit) release(it->key);
}

void PointerOutput::relative(uint16_t code, int32_t value) {
  if (value != 0) pending_.push_back({EV_REL, code, value});
}

void PointerOutput::key(uint16_t code, int32_t value) {
  // A key that changes twice in one frame would read as not changing at all.
  for (size_t i = frame_start_; i < pending_.size(); ++i) {
    if (pending_[i].type == EV_KEY && pending_[i].code == code) {
      frame();
      break;
    }
  }
  pending_.push_back({EV_KEY, code, value});
}

void PointerOutput::frame() {
  if (pending_.size() == frame_start_) return;
  pending_.push_back({EV_SYN, SYN_REPORT, 0});
  frame_start_ = pending_.size();
}

void PointerOutput::flush() {
  frame();
  if (pending_.empty()) return;
  sink_.write(pending_);
  pending_.clear();
  frame_start_ = 0;
}

void PointerOutput::release_held_by(Holder holder) {
  for (size_t i = held_.size(); i-- > 0;)
    if (held_[i].holder == holder) release(held_[i].code);
}

void PointerOutput::release_device(uint32_t device) {
  for (size_t i = held_.size(); i-- > 0;)
    if (held_[i].holder.device == device) release(held_[i].code);
}

}  // namespace cx::refdriver

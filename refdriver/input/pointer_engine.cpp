#include "refdriver/input/pointer_engine.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

#include "refdriver/event_codes.h"
#include "refdriver/input/key_codes.h"
#include "refdriver/record_store.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

constexpr uint16_t kChordSpeedIndex = 9;
constexpr uint16_t kScrollingIndex = 72;  // of a set's application data
constexpr uint16_t kClockwiseIsUp = 0x2;
constexpr uint16_t kSwapScrollAxis = 0x4;
// Who holds the keys a pointing device passes through.
constexpr uint8_t kDeviceKeys = 0xFF;

// Two buttons pressed together within the chording speed act as a third.
struct Chord {
  uint8_t first, second, chord;
};
constexpr Chord kChords[] = {{0, 1, 4}, {2, 3, 5}};

std::optional<uint8_t> driver_button(uint16_t code) {
  for (const MouseButton& b : mouse_buttons())
    if (b.code == code) return b.button;
  return std::nullopt;
}

uint16_t button_code(uint8_t button) {
  for (const MouseButton& b : mouse_buttons())
    if (b.button == button) return b.code;
  return 0;
}

const Chord* chord_of(uint8_t button) {
  for (const Chord& c : kChords)
    if (c.first == button || c.second == button) return &c;
  return nullptr;
}

uint8_t partner(const Chord& c, uint8_t button) {
  return c.first == button ? c.second : c.first;
}

}  // namespace

PointerEngine::PointerEngine(DriverState& state, DriverSink& sink, PointerOutput& output)
    : state_(state), sink_(sink), output_(output), runner_(state, sink) {
  state_.output = &output_;
}

PointerEngine::~PointerEngine() {
  state_.output = nullptr;
}

void PointerEngine::add_device(uint32_t id, const PresentDevice& device) {
  devices_[id].present = device;
  publish_devices();
}

void PointerEngine::remove_device(uint32_t id) {
  if (devices_.erase(id) == 0) return;
  runner_.forget(id);
  output_.release_device(id);
  output_.motion_scrolls = false;
  output_.flush();
  publish_devices();
}

void PointerEngine::publish_devices() {
  std::vector<PresentDevice> present;
  for (const auto& [id, d] : devices_) present.push_back(d.present);
  state_.devices.set_present(std::move(present));
  for (auto& [id, d] : devices_) d.generation = ~0u;
  sink_.log("devices changed");
  sink_.notify(event_code::devices_changed, 0);
}

void PointerEngine::handle(uint32_t id, const InputEvent& event) {
  expire(event.time_us);
  const auto it = devices_.find(id);
  if (it == devices_.end()) return;
  Device& d = it->second;
  switch (event.type) {
    case EV_REL:
      switch (event.code) {
        case REL_X:
          d.dx += event.value;
          break;
        case REL_Y:
          d.dy += event.value;
          break;
        case REL_WHEEL:
          d.wheel += event.value;
          break;
        case REL_HWHEEL:
          d.hwheel += event.value;
          break;
        default:
          break;  // high-resolution wheels repeat the plain ones
      }
      break;
    case EV_KEY:
      if (event.value == 2) break;  // auto-repeat
      if (driver_button(event.code)) {
        button(id, d, event.code, event.value != 0, event.time_us);
      } else {
        // The keys of a device that is a keyboard too stay its own.
        update_modifiers(event);
        if (event.value) {
          output_.press(event.code, Holder{id, kDeviceKeys});
        } else {
          output_.release(event.code);
        }
      }
      break;
    case EV_SYN:
      if (event.code == SYN_REPORT) report(d);
      break;
    default:
      break;
  }
}

void PointerEngine::keyboard(const InputEvent& event) {
  if (event.type == EV_KEY && event.value != 2) update_modifiers(event);
}

void PointerEngine::update_modifiers(const InputEvent& event) {
  const auto modifier = std::find_if(modifier_keys().begin(), modifier_keys().end(),
                                     [&](const ModifierKey& m) { return m.key == event.code; });
  if (modifier == modifier_keys().end()) return;
  mods_ = static_cast<uint8_t>(event.value ? mods_ | modifier->bit : mods_ & ~modifier->bit);
}

void PointerEngine::button(uint32_t id, Device& d, uint16_t code, bool down, uint64_t time_us) {
  const std::optional<uint8_t> number = driver_button(code);
  if (!number) return;
  const uint8_t b = *number;
  const Chord* chord = chord_of(b);
  if (down) {
    if (d.waiting && chord && d.waiting->button == partner(*chord, b)) {
      d.waiting.reset();
      d.chord = chord->chord;
      d.chord_released = 0;
      sink_.log("chord");
      sink_.notify(event_code::chord, 0);
      button_down(id, chord->chord, 0);
      return;
    }
    expire(~uint64_t{0});  // another button decides a waiting one
    if (chord && runner_.has_list(chord->chord, mods_)) {
      d.waiting = Held{b, time_us};
      return;
    }
    button_down(id, b, code);
    return;
  }
  if (d.waiting && d.waiting->button == b) {
    d.waiting.reset();
    button_down(id, b, code);
  } else if (d.chord && chord && chord->chord == *d.chord) {
    // The chord ends with the first of its buttons to come up.
    if (d.chord_released++ == 0) runner_.up(chord->chord, id);
    if (d.chord_released == 2) d.chord.reset();
    return;
  }
  runner_.up(b, id);
}

void PointerEngine::button_down(uint32_t id, uint8_t button, uint16_t code) {
  if (runner_.down(button, mods_, id)) return;
  // A button no set gives a list to stays itself, so that the mouse works
  // before the agent has loaded any settings.
  output_.press(code, Holder{id, button});
  output_.flush();
}

std::optional<uint64_t> PointerEngine::deadline() {
  std::optional<uint64_t> first;
  for (const auto& [id, d] : devices_) {
    if (d.waiting && (!first || d.waiting->since_us < *first)) first = d.waiting->since_us;
  }
  if (!first) return std::nullopt;
  return *first + chord_window_us();
}

void PointerEngine::expire(uint64_t now_us) {
  for (auto& [id, d] : devices_) {
    if (!d.waiting) continue;
    // The largest time decides at once, as another button's press does.
    if (now_us != ~uint64_t{0} && now_us < d.waiting->since_us + chord_window_us()) continue;
    const uint8_t b = d.waiting->button;
    d.waiting.reset();
    button_down(id, b, button_code(b));
  }
}

uint64_t PointerEngine::chord_window_us() {
  const auto ms = static_cast<int16_t>(load_be16(state_.global_record(kChordSpeedIndex).data()));
  return uint64_t(ms > 0 ? ms : kDefaultChordMs) * 1000;
}

void PointerEngine::refresh(Device& d) {
  if (d.generation != state_.devices.generation()) {
    size_t position = 0;
    for (const auto& [id, other] : devices_) {
      if (&other == &d) break;
      ++position;
    }
    d.traits = descriptor_motion(state_.devices.describe(d.present, position));
    d.generation = state_.devices.generation();
  }
  const size_t table = std::min<size_t>(d.traits.acceleration_table, kAccelClasses - 1);
  const uint8_t level = state_.global_record(kAccelLevelsIndex)[table];
  d.accelerator.set(
      accel_curve(state_.global_record(static_cast<uint16_t>(kFirstAccelTableIndex + table)),
                  level),
      d.traits.move_multiplier);
}

void PointerEngine::report(Device& d) {
  if (d.dx != 0 || d.dy != 0) {
    if (output_.motion_scrolls) {
      // Moving down scrolls down, as dragging the page would not.
      d.scroll_rest += d.dy;
      d.wheel -= d.scroll_rest / kMotionPerScrollStep;
      d.scroll_rest %= kMotionPerScrollStep;
    } else {
      refresh(d);
      int32_t x = 0, y = 0;
      d.accelerator.apply(d.dx, d.dy, x, y);
      output_.relative(REL_X, x);
      output_.relative(REL_Y, y);
    }
    d.dx = d.dy = 0;
  }
  if (d.wheel != 0 || d.hwheel != 0) wheel(d);
  output_.flush();
}

void PointerEngine::wheel(Device& d) {
  if (d.generation != state_.devices.generation()) refresh(d);
  // The front set's scrolling settings, else the global set's.
  std::span<const uint8_t> record;
  for (AppSet* set : {&state_.apps.front(), &state_.apps.global()}) {
    if (const std::vector<uint8_t>* r = set->data.fixed(kScrollingIndex); r && (*r)[0] != 0) {
      record = *r;
      break;
    }
  }
  const int32_t speed = record.empty() ? 1 : record[0];
  const uint16_t flags = record.empty() ? 0 : load_be16(&record[2]);
  int32_t v = d.wheel;
  int32_t h = d.hwheel;
  if (d.traits.wheel_reversed != ((flags & kClockwiseIsUp) != 0)) v = -v;
  const bool horizontal =
      (load_be16(state_.global_record(kHorizontalScrollIndex).data()) & kHorizontalScrollBit) != 0;
  if (horizontal != ((flags & kSwapScrollAxis) != 0)) std::swap(v, h);
  output_.relative(REL_WHEEL, v * speed);
  output_.relative(REL_HWHEEL, h * speed);
  d.wheel = d.hwheel = 0;
}

}  // namespace cx::refdriver

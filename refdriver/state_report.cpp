#include "refdriver/state_report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <tuple>
#include <vector>

#include "model/act_item.h"
#include "refdriver/active_user.h"
#include "refdriver/low_battery.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

constexpr size_t kPreview = 48;

class Report {
 public:
  void add(const char* fmt, ...) __attribute__((format(printf, 2, 3))) {
    char line[512];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(line, sizeof line, fmt, args);
    va_end(args);
    text_ += line;
    text_ += '\n';
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

// Printable text in quotes, anything else in hex; at most kPreview bytes.
std::string preview(std::span<const uint8_t> bytes) {
  const std::span<const uint8_t> shown = bytes.first(std::min(bytes.size(), kPreview));
  std::span<const uint8_t> text = shown;
  if (!text.empty() && text.back() == 0) text = text.first(text.size() - 1);
  const bool printable = !text.empty() && std::all_of(text.begin(), text.end(), [](uint8_t c) {
    return c >= 0x20 && c < 0x7F;
  });
  std::string out;
  if (printable) {
    out = "\"" + std::string(text.begin(), text.end()) + "\"";
  } else {
    char hex[4];
    for (const uint8_t c : shown) {
      std::snprintf(hex, sizeof hex, "%02x ", c);
      out += hex;
    }
    if (!out.empty()) out.pop_back();
  }
  return bytes.size() > kPreview ? out + " ..." : out;
}

std::string name_of(const StoredResponse& r) {
  const auto end = std::find(r.name.begin(), r.name.begin() + 32, 0);
  return std::string(r.name.begin(), end);
}

std::string set_title(const AppSet& set) {
  if (set.id == 0) return set.key.empty() ? "global" : "global (\"" + set.key + "\")";
  return "\"" + set.name + "\" (key \"" + set.key + "\")";
}

void describe_set(Report& r, const AppSet& set) {
  r.add("  %s: %zu responses, %zu local dataspaces", set_title(set).c_str(), set.responses.size(),
        set.dataspaces.size());
  std::vector<uint32_t> keys;
  for (const auto& [key, response] : set.responses) keys.push_back(key);
  std::sort(keys.begin(), keys.end(), [](uint32_t a, uint32_t b) {
    return std::make_tuple(key_button(a), key_mods(a), key_entry(a)) <
           std::make_tuple(key_button(b), key_mods(b), key_entry(b));
  });
  for (const uint32_t key : keys) {
    const StoredResponse& resp = set.responses.at(key);
    std::string items;
    for (size_t at = 0; at < resp.items.size(); at += kItemSize) {
      const act_item item = decode_act_item(&resp.items[at]);
      char text[40];
      std::snprintf(text, sizeof text, " %04x/%u/%x", static_cast<uint16_t>(item.act), item.act_seq,
                    item.ch12);
      items += text;
    }
    char entry[24] = "";
    if (key_entry(key) != 0) std::snprintf(entry, sizeof entry, " entry %u", key_entry(key));
    r.add("    button %u mods 0x%02x%s: \"%s\" flags 0x%04x, %zu items%s", key_button(key),
          key_mods(key), entry, name_of(resp).c_str(), load_be16(&resp.name[34]), resp.item_count(),
          items.c_str());
  }
  for (const auto& [index, bytes] : set.dataspaces) {
    r.add("    dataspace %u: %zu bytes %s", index, bytes.size(), preview(bytes).c_str());
  }
  if (!set.cache.empty()) r.add("    cache: %zu bytes", set.cache.size());
  for (const auto& [index, bytes] : set.data.all()) {
    if (std::any_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b != 0; })) {
      r.add("    data %u: %s", index, preview(bytes).c_str());
    }
  }
}

}  // namespace

std::string describe_state(DriverState& state) {
  Report r;
  const ActiveUser user = read_active_user(state.global_record(kActiveUserIndex));
  r.add("active user: uid %u (%s)", user.uid, user.state == kUserActive ? "active" : "cleared");
  const std::string& front = state.apps.front_name();
  r.add("front application: %s -> %s set", front.empty() ? "(none)" : front.c_str(),
        state.apps.front().id == 0 ? "global" : set_title(state.apps.front()).c_str());
  r.add("edited set: %s", set_title(state.apps.edited()).c_str());
  r.add("control-panel mode: %s", state.control_panel_holder ? "on" : "off");
  r.add("pointer: (%d, %d)", state.mouse_x, state.mouse_y);
  r.add("application sets:");
  describe_set(r, state.apps.global());
  for (const uint32_t id : state.apps.listed_ids()) {
    if (id != 0) describe_set(r, *state.apps.find(id));
  }
  r.add("global dataspaces: %zu", state.dataspaces.global().size());
  for (const auto& [index, bytes] : state.dataspaces.global()) {
    r.add("  %u: %zu bytes %s", index, bytes.size(), preview(bytes).c_str());
  }
  r.add("global data:");
  for (const auto& [index, bytes] : state.globals.all()) {
    if (std::any_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b != 0; })) {
      r.add("  %u: %s", index, preview(bytes).c_str());
    }
  }
  const auto attached = state.devices.attached();
  r.add("devices: %zu descriptors, %zu attached", state.devices.descriptors().size(),
        attached.size());
  for (const uint32_t id : attached) {
    const Descriptor* d = state.devices.find(id);
    r.add("  UniqueID %u: capabilities 0x%04x", id, d ? descriptor_capabilities(*d) : 0u);
  }
  r.add("queued events: %zu", state.events.size());
  for (const BackgroundEvent& e : state.events.all()) {
    r.add("  %d: %zu bytes %s", e.code, e.data.size(), preview(e.data).c_str());
  }
  if (state.menu.pending) {
    r.add("popup menu: button %u mods 0x%02x, %zu slots", state.menu.button, state.menu.mods,
          state.menu.slots.size());
  } else {
    r.add("popup menu: none");
  }
  for (const uint16_t id : state.low_battery.pending()) r.add("low battery pending: device %u", id);
  r.add("ADBID32 firmware calls: %u", state.firmware_updates);
  return r.take();
}

}  // namespace cx::refdriver

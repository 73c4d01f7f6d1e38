// The action lists and names of the older binary layout, and the chord
// buttons that its earliest version left to the built-in actions.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "driver/actlist_requests.h"
#include "driver/data_requests.h"
#include "model/actlist.h"
#include "model/numbering.h"
#include "prefs/legacy_import.h"
#include "prefs/legacy_reader.h"

namespace cx {
namespace {

// Set while the lists are loaded, so that the driver does not act on a
// half-loaded button set.
constexpr int16_t kListsLoadingRecord = 16;
constexpr uint8_t kGlobalMods = 0;
constexpr size_t kNameFlagsOffset = 34;
constexpr uint16_t kPresetNameFlags = 0x8002;

struct ChordDefault {
  uint8_t button;
  uint16_t mods;
  const char* name;
};
constexpr std::array kChordDefaults = {ChordDefault{5, 12, "Make Alias"},
                                       ChordDefault{4, 4, "Finder Copy"}};
constexpr uint8_t kChordActSeq = 8;
constexpr int16_t kChordAct = 2;

void set_loading(uint32_t value) {
  uint8_t record[4];
  store_be32(record, value);
  CXAccessGlobalData(kListsLoadingRecord, kDataModeWrite, record, sizeof record);
}

bool read_counts(int16_t ref, int16_t buttons, std::vector<int16_t>& counts) {
  counts.assign(static_cast<size_t>(buttons), 0);
  for (int16_t& count : counts) {
    if (!read_be16(ref, &count)) return false;
    // A negative count stands for an empty list.
    count = std::max<int16_t>(count, 0);
  }
  return true;
}

bool read_lists(int16_t ref, int16_t buttons) {
  std::vector<int16_t> lengths;
  if (!read_counts(ref, buttons, lengths)) return false;
  const int16_t longest = *std::max_element(lengths.begin(), lengths.end());
  std::vector<act_item> items(static_cast<size_t>(longest));
  set_loading(1);
  for (int16_t i = 0; i < buttons; ++i) {
    const int16_t length = lengths[static_cast<size_t>(i)];
    init_plist(items.data(), length);
    if (!copy_file_to_list(ref, items.data(), length)) {
      set_loading(0);
      return false;
    }
    SetActionList(kGlobalMods, static_cast<uint8_t>(i), length ? items.data() : nullptr);
  }
  set_loading(0);
  return true;
}

bool read_names(int16_t ref, int16_t buttons) {
  std::vector<int16_t> counts;
  if (!read_counts(ref, buttons, counts)) return false;
  for (int16_t i = 0; i < buttons; ++i) {
    const auto button = static_cast<uint8_t>(i);
    for (int16_t n = 0; n < counts[static_cast<size_t>(i)]; ++n) {
      std::array<uint8_t, kActionNameSize> name{};
      if (!read_exact(ref, name.data(), kActionNameSize)) return false;
      if (is_preset_button(button))
        store_be16(&name[kNameFlagsOffset], load_be16(&name[kNameFlagsOffset]) | kPresetNameFlags);
      if (SetActionName(kGlobalMods, button, n, name) <= 0) return false;
    }
  }
  return true;
}

}  // namespace

act_item* init_plist(act_item* items, int16_t count) {
  if (count <= 0) return nullptr;
  link_actlist(items, count);
  return &items[count - 1];
}

int copy_file_to_list(int16_t ref, act_item* list, int16_t count) {
  act_item* item = list;
  for (int16_t i = 0; i < count && item; ++i) {
    uint8_t wire[kActItemWireSize];
    if (!read_exact(ref, wire, kActItemWireSize)) return 0;
    act_item* next = item->link;
    *item = decode_act_item(wire);
    item->link = i + 1 < count ? next : nullptr;
    item = next;
  }
  return 1;
}

int read_al_stuff_to_settings(int16_t ref, int16_t buttons) {
  return buttons > 0 && read_lists(ref, buttons) && read_names(ref, buttons);
}

void set_chords_to_default() {
  for (const ChordDefault& chord : kChordDefaults) {
    act_item item = make_act_item(chord.mods, 0, kChordActSeq, kChordAct, 0);
    SetActionList(kGlobalMods, chord.button, &item);
    std::array<uint8_t, kActionNameSize> name{};
    std::memcpy(name.data(), chord.name, std::strlen(chord.name));
    SetActionName(kGlobalMods, chord.button, 0, name);
  }
}

}  // namespace cx

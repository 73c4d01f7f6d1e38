// The system-wide settings: acceleration levels and tables, chording speed.
#include <cstdio>

#include "driver/data_requests.h"
#include "prefs/pref_leaf.h"
#include "prefs/pref_schema.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using plist::NumberType;

constexpr int16_t kAccelLevelsRecord = 2;
constexpr int16_t kChordSpeedRecord = 9;
constexpr uint32_t kLevelsSize = 5;
constexpr uint32_t kChordSpeedSize = 4;
constexpr uint32_t kTableSize = 132;
constexpr int kThresholds = 12;
constexpr int kRows = 9;
constexpr int kColumns = 12;
constexpr uint32_t kRowsOffset = 24;

// Reads a record node: its children fill `record`, which goes to the driver
// only when the dictionaries hold a value for the node. The record starts as
// the driver holds it, so a child that is missing leaves the driver's part.
void read_record_node(PrefNode* node, int16_t index, uint8_t* record, uint32_t size) {
  pref_item_info* self = get_object_info(node);
  const bool to_driver = !(self->flags & pref_flag::tree_only);
  if (to_driver) CXAccessGlobalData(index, kDataModeRead, record, size);
  self->scratch = record;
  if (get_pref(node)) {
    call_children(node, 0);
    if (to_driver) CXAccessGlobalData(index, kDataModeWrite, record, size);
  }
  self->scratch = nullptr;
}

void read_level(PrefNode* node, int byte) {
  auto* record = parent_scratch<uint8_t>(node);
  if (!record) return;
  if (const auto v = number_as(get_pref(node).get(), NumberType::Char))
    record[byte] = static_cast<uint8_t>(*v);
}

void put_accel_data(PrefNode* node, const uint8_t* level) {
  apply_leaf_rule(node, plist::make_number(NumberType::Char, static_cast<int8_t>(*level)),
                  NumberType::Char);
}

void write_level(PrefNode* node, int byte) {
  if (const auto* record = parent_scratch<uint8_t>(node)) put_accel_data(node, record + byte);
}

void read_table(PrefNode* node, int16_t index) {
  uint8_t table[kTableSize] = {};
  read_record_node(node, index, table, kTableSize);
}

void write_table(PrefNode* node, int16_t index) {
  uint8_t table[kTableSize] = {};
  write_record_children(node, CXAccessGlobalData, index, table, kTableSize);
}

// The elements a table child reads: the user's when there are any.
const std::vector<plist::ValueRef>& chosen_elements(const pref_item_info& self) {
  return !self.user_elements.empty() && !restoring_defaults ? self.user_elements
                                                            : self.default_elements;
}

}  // namespace

void read_global_data(PrefNode* node) {
  if (get_pref(node)) call_children(node, 0);
}
void write_global_data(PrefNode* node) {
  call_children(node, 1);
}
void read_acctable_data(PrefNode* node) {
  if (get_pref(node)) call_children(node, 0);
}
void write_acctable_data(PrefNode* node) {
  call_children(node, 1);
}

void read_accel_data(PrefNode* node) {
  uint8_t levels[kLevelsSize] = {};
  read_record_node(node, kAccelLevelsRecord, levels, kLevelsSize);
}
void write_accel_data(PrefNode* node) {
  uint8_t levels[kLevelsSize] = {};
  write_record_children(node, CXAccessGlobalData, kAccelLevelsRecord, levels, kLevelsSize);
}

void read_tball2accel_data(PrefNode* node) {
  read_level(node, 0);
}
void read_mouse4accel_data(PrefNode* node) {
  read_level(node, 1);
}
void read_tball4accel_data(PrefNode* node) {
  read_level(node, 2);
}
void read_mouse8accel_data(PrefNode* node) {
  read_level(node, 3);
}
void read_tball8accel_data(PrefNode* node) {
  read_level(node, 4);
}
void write_tball2accel_data(PrefNode* node) {
  write_level(node, 0);
}
void write_mouse4accel_data(PrefNode* node) {
  write_level(node, 1);
}
void write_tball4accel_data(PrefNode* node) {
  write_level(node, 2);
}
void write_mouse8accel_data(PrefNode* node) {
  write_level(node, 3);
}
void write_tball8accel_data(PrefNode* node) {
  write_level(node, 4);
}

void read_tball2acctable_data(PrefNode* node) {
  read_table(node, 93);
}
void read_mouse4acctable_data(PrefNode* node) {
  read_table(node, 94);
}
void read_tball4acctable_data(PrefNode* node) {
  read_table(node, 95);
}
void read_mouse8acctable_data(PrefNode* node) {
  read_table(node, 96);
}
void read_tball8acctable_data(PrefNode* node) {
  read_table(node, 97);
}
void write_tball2acctable_data(PrefNode* node) {
  write_table(node, 93);
}
void write_mouse4acctable_data(PrefNode* node) {
  write_table(node, 94);
}
void write_tball4acctable_data(PrefNode* node) {
  write_table(node, 95);
}
void write_mouse8acctable_data(PrefNode* node) {
  write_table(node, 96);
}
void write_tball8acctable_data(PrefNode* node) {
  write_table(node, 97);
}

void read_threshold_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  auto* table = parent_scratch<uint8_t>(node);
  if (!setup_arrays(node) || !table) return;
  const auto& elements = chosen_elements(*self);
  if (elements.size() > kThresholds)
    std::fprintf(stderr, "Corvex Background: %zu thresholds; only the first %d are used\n",
                 elements.size(), kThresholds);
  for (size_t i = 0; i < elements.size() && i < kThresholds; ++i) {
    const auto v = number_as(elements[i].get(), NumberType::Short);
    if (!v) {
      std::fprintf(stderr, "Corvex Background: threshold %zu is not a number; ignored\n", i);
      continue;
    }
    store_be16(table + 2 * i, static_cast<uint16_t>(*v));
  }
}

// Thresholds are never written back: a user value already there is still
// honoured when read.
void write_threshold_data(PrefNode*) {}

void read_multrows_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  auto* table = parent_scratch<uint8_t>(node);
  if (!setup_arrays(node) || !table) return;
  const auto& rows = chosen_elements(*self);
  for (size_t r = 0; r < rows.size() && r < kRows; ++r) {
    const auto* row = plist::as<plist::Array>(rows[r]);
    for (size_t c = 0; c < kColumns; ++c) {
      const auto v =
          row && c < row->size() ? number_as(row->at(c).get(), NumberType::Short) : std::nullopt;
      if (!v) {
        std::fprintf(stderr, "Corvex Background: multiplier row %zu column %zu unreadable\n", r, c);
        return;
      }
      table[kRowsOffset + kColumns * r + c] = static_cast<uint8_t>(*v);
    }
  }
}

void write_multrows_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  const auto* table = parent_scratch<uint8_t>(node);
  if (!table) return;
  bool same = self->default_elements.size() >= kRows;
  for (size_t r = 0; same && r < kRows; ++r) {
    const auto* row = plist::as<plist::Array>(self->default_elements[r]);
    for (size_t c = 0; same && c < kColumns; ++c)
      same = row && c < row->size() &&
             number_as(row->at(c).get(), NumberType::Char) ==
                 static_cast<int8_t>(table[kRowsOffset + kColumns * r + c]);
  }
  if (same) {
    if (self->flags & pref_flag::user_present) del_top_pref(node);
    return;
  }
  auto rows = plist::make_array();
  for (size_t r = 0; r < kRows; ++r) {
    auto row = plist::make_array();
    for (size_t c = 0; c < kColumns; ++c)
      row->append(plist::make_number(NumberType::Short, table[kRowsOffset + kColumns * r + c]));
    rows->append(row);
  }
  self->user_value = rows;
  put_top_pref(node);
  // The table above must store itself to keep these rows.
  self->flags |= pref_flag::changed;
}

void read_chordspeed_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  uint8_t record[kChordSpeedSize] = {};
  const bool to_driver = !(self->flags & pref_flag::tree_only);
  if (to_driver) CXAccessGlobalData(kChordSpeedRecord, kDataModeRead, record, kChordSpeedSize);
  const auto speed = number_as(get_pref(node).get(), NumberType::Short);
  if (!speed) return;
  store_be16(record, static_cast<uint16_t>(*speed));
  record[2] = 0;
  if (to_driver) CXAccessGlobalData(kChordSpeedRecord, kDataModeWrite, record, kChordSpeedSize);
}

void write_chordspeed_data(PrefNode* node) {
  uint8_t record[kChordSpeedSize] = {};
  if (CXAccessGlobalData(kChordSpeedRecord, kDataModeRead, record, kChordSpeedSize) <= 0) {
    keep_user_value(get_object_info(node));
    return;
  }
  apply_leaf_rule(node,
                  plist::make_number(NumberType::Short, static_cast<int16_t>(load_be16(record))),
                  NumberType::Short);
}

}  // namespace cx

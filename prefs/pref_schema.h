// The schema of the preference dictionary: the tree of keys, the driver data
// each one moves, and the functions that move it.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "prefs/pref_tree.h"

namespace cx {

inline constexpr char kPrefRootKey[] = "CXPrefData";

struct but_key_entry {
  uint8_t button;
  std::string_view key;
};
extern const std::array<but_key_entry, 24> but_key_table;
// The driver's number for a button key; 255 for a key of no button.
uint8_t button_number(std::string_view key);

// The whole tree, built once per load.
pref_tree_ref create_pref_tree();

// Node functions; each takes its node.
void read_cx_pref_data(PrefNode*);
void write_cx_pref_data(PrefNode*);
void read_appset_data(PrefNode*);
void write_appset_data(PrefNode*);
void read_appname_data(PrefNode*);
void write_appname_data(PrefNode*);
void read_buttons_data(PrefNode*);
void write_buttons_data(PrefNode*);
void read_a_button_data(PrefNode*);
void write_a_button_data(PrefNode*);
void read_scrolling_data(PrefNode*);
void write_scrolling_data(PrefNode*);
void read_scrollspeed_data(PrefNode*);
void write_scrollspeed_data(PrefNode*);
void read_scrolldir_data(PrefNode*);
void write_scrolldir_data(PrefNode*);
void read_scrollswap_data(PrefNode*);
void write_scrollswap_data(PrefNode*);
void read_global_data(PrefNode*);
void write_global_data(PrefNode*);
void read_accel_data(PrefNode*);
void write_accel_data(PrefNode*);
void read_tball2accel_data(PrefNode*);
void write_tball2accel_data(PrefNode*);
void read_mouse4accel_data(PrefNode*);
void write_mouse4accel_data(PrefNode*);
void read_tball4accel_data(PrefNode*);
void write_tball4accel_data(PrefNode*);
void read_mouse8accel_data(PrefNode*);
void write_mouse8accel_data(PrefNode*);
void read_tball8accel_data(PrefNode*);
void write_tball8accel_data(PrefNode*);
void read_acctable_data(PrefNode*);
void write_acctable_data(PrefNode*);
void read_tball2acctable_data(PrefNode*);
void write_tball2acctable_data(PrefNode*);
void read_mouse4acctable_data(PrefNode*);
void write_mouse4acctable_data(PrefNode*);
void read_tball4acctable_data(PrefNode*);
void write_tball4acctable_data(PrefNode*);
void read_mouse8acctable_data(PrefNode*);
void write_mouse8acctable_data(PrefNode*);
void read_tball8acctable_data(PrefNode*);
void write_tball8acctable_data(PrefNode*);
void read_threshold_data(PrefNode*);
void write_threshold_data(PrefNode*);
void read_multrows_data(PrefNode*);
void write_multrows_data(PrefNode*);
void read_chordspeed_data(PrefNode*);
void write_chordspeed_data(PrefNode*);
void read_prefvers_data(PrefNode*);
void write_prefvers_data(PrefNode*);

}  // namespace cx

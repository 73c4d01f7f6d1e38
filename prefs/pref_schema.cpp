#include "prefs/pref_schema.h"

#include <initializer_list>

namespace cx {

const std::array<but_key_entry, 24> but_key_table = {{
    {0, "LeftButton"},     {1, "RightButton"},     {2, "B3Button"},       {3, "B4Button"},
    {4, "ChordButton"},    {5, "BackChordButton"}, {18, "PresetButton1"}, {19, "PresetButton2"},
    {20, "PresetButton3"}, {21, "PresetButton4"},  {22, "PresetButton5"}, {23, "PresetButton6"},
    {17, "WheelButton"},   {6, "ButtonID_6"},      {7, "ButtonID_7"},     {8, "ButtonID_8"},
    {9, "ButtonID_9"},     {10, "ButtonID_10"},    {11, "ButtonID_11"},   {12, "ButtonID_12"},
    {13, "ButtonID_13"},   {14, "ButtonID_14"},    {15, "ButtonID_15"},   {16, "ButtonID_16"},
}};

uint8_t button_number(std::string_view key) {
  for (const auto& entry : but_key_table)
    if (entry.key == key) return entry.button;
  return 255;
}

namespace {

struct NodeRow {
  int32_t kind;
  std::string_view key;
  pref_node_fn write_fn;
  pref_node_fn read_fn;
};

pref_tree_ref node(const NodeRow& row, std::initializer_list<pref_tree_ref> children = {}) {
  pref_tree_ref n = create_tree_object(row.kind, row.key, row.write_fn, row.read_fn, 0);
  for (const pref_tree_ref& child : children) n->append_child(child);
  return n;
}

pref_tree_ref typed(pref_tree_ref n, plist::Type type) {
  n->context().value_type = type;
  return n;
}

// A button holds its responses as an array of response dictionaries.
pref_tree_ref button(std::string_view key) {
  return typed(node({pref_kind::dictionary, key, write_a_button_data, read_a_button_data}),
               plist::Type::Array);
}

pref_tree_ref accel_table(std::string_view key, pref_node_fn write_fn, pref_node_fn read_fn) {
  return node(
      {pref_kind::dictionary, key, write_fn, read_fn},
      {node({pref_kind::array, "Thresholds", write_threshold_data, read_threshold_data}),
       node({pref_kind::array, "MultiplierRows", write_multrows_data, read_multrows_data})});
}

pref_tree_ref application_sets() {
  pref_tree_ref buttons =
      node({pref_kind::dictionary, "ButtonData", write_buttons_data, read_buttons_data});
  for (std::string_view key :
       {"LeftButton", "RightButton", "B3Button", "B4Button", "ChordButton", "BackChordButton",
        "WheelButton", "ButtonID_6", "ButtonID_7", "ButtonID_8", "ButtonID_9", "ButtonID_10",
        "ButtonID_11", "ButtonID_12", "ButtonID_13", "ButtonID_14", "ButtonID_15", "ButtonID_16"})
    buttons->append_child(button(key));
  pref_tree_ref scrolling =
      node({pref_kind::dictionary, "ScrollingData", write_scrolling_data, read_scrolling_data},
           {typed(node({pref_kind::dictionary, "ScrollSpeed", write_scrollspeed_data,
                        read_scrollspeed_data}),
                  plist::Type::Number),
            typed(node({pref_kind::dictionary, "ClockWiseIsUp", write_scrolldir_data,
                        read_scrolldir_data}),
                  plist::Type::Boolean),
            typed(node({pref_kind::dictionary, "SwapScrollAxis", write_scrollswap_data,
                        read_scrollswap_data}),
                  plist::Type::Boolean)});
  return node({pref_kind::dictionary, "ApplicationSetData", write_appset_data, read_appset_data},
              {node({pref_kind::string, "ApplicationName", write_appname_data, read_appname_data}),
               buttons, scrolling});
}

pref_tree_ref system_wide() {
  pref_tree_ref levels = node(
      {pref_kind::dictionary, "AccelerationData", write_accel_data, read_accel_data},
      {node({pref_kind::number, "Tball2AccelLevel", write_tball2accel_data, read_tball2accel_data}),
       node({pref_kind::number, "Mouse4AccelLevel", write_mouse4accel_data, read_mouse4accel_data}),
       node({pref_kind::number, "Tball4AccelLevel", write_tball4accel_data, read_tball4accel_data}),
       node({pref_kind::number, "Mouse8AccelLevel", write_mouse8accel_data, read_mouse8accel_data}),
       node({pref_kind::number, "Tball8AccelLevel", write_tball8accel_data,
             read_tball8accel_data})});
  pref_tree_ref tables = node(
      {pref_kind::dictionary, "AccelerationTableData", write_acctable_data, read_acctable_data},
      {accel_table("Tball2AccelTable", write_tball2acctable_data, read_tball2acctable_data),
       accel_table("Mouse4AccelTable", write_mouse4acctable_data, read_mouse4acctable_data),
       accel_table("Tball4AccelTable", write_tball4acctable_data, read_tball4acctable_data),
       accel_table("Mouse8AccelTable", write_mouse8acctable_data, read_mouse8acctable_data),
       accel_table("Tball8AccelTable", write_tball8acctable_data, read_tball8acctable_data)});
  pref_tree_ref presets =
      node({pref_kind::dictionary, "GlobalButtonData", write_buttons_data, read_buttons_data});
  for (std::string_view key : {"PresetButton1", "PresetButton2", "PresetButton3", "PresetButton4",
                               "PresetButton5", "PresetButton6"})
    presets->append_child(button(key));
  return node(
      {pref_kind::dictionary, "SystemWideData", write_global_data, read_global_data},
      {levels, tables,
       node({pref_kind::number, "ChordingSpeedData", write_chordspeed_data, read_chordspeed_data}),
       presets});
}

}  // namespace

pref_tree_ref create_pref_tree() {
  return node({pref_kind::dictionary, kPrefRootKey, write_cx_pref_data, read_cx_pref_data},
              {application_sets(), system_wide(),
               node({pref_kind::string, "PrefVersion", write_prefvers_data, read_prefvers_data})});
}

}  // namespace cx

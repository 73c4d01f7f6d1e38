// The preference tree: one node per key of the preference dictionary, each
// carrying the pair of functions that move its value between the property
// lists and the driver, and the generic operations those functions share.
// The user's dictionary is kept as a sparse overlay over the defaults.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/tree.h"
#include "plist/value.h"

namespace cx {

struct pref_item_info;
using PrefNode = plist::Tree<pref_item_info>;
using pref_tree_ref = std::shared_ptr<PrefNode>;
using pref_node_fn = void (*)(PrefNode*);

namespace pref_flag {
inline constexpr uint32_t user_present = 1;
inline constexpr uint32_t user_written = 2;
inline constexpr uint32_t default_set_seen = 4;
inline constexpr uint32_t indexed = 8;
inline constexpr uint32_t changed = 16;
inline constexpr uint32_t tree_only = 32;
}  // namespace pref_flag

// Kinds of the empty user entry create_user_entry makes.
namespace pref_kind {
inline constexpr int32_t dictionary = 0;
inline constexpr int32_t array = 1;
inline constexpr int32_t string = 2;
inline constexpr int32_t number = 3;
}  // namespace pref_kind

struct pref_item_info {
  std::string key;
  int32_t kind = 0;
  // What a value under this key must be; a value of another type in either
  // dictionary is reported and treated as missing.
  plist::Type value_type = plist::Type::Dictionary;
  plist::ValueRef default_value;
  plist::ValueRef user_value;
  // A container made indexable by setup_arrays; a null key is an element
  // that was deleted.
  std::vector<plist::ValueRef> default_elements;
  std::vector<plist::ValueRef> user_elements;
  std::vector<std::optional<std::string>> default_keys;
  std::vector<std::optional<std::string>> user_keys;
  int32_t default_index = 0;
  int32_t user_index = 0;
  pref_node_fn write_fn = nullptr;
  pref_node_fn read_fn = nullptr;
  // Borrowed: a buffer of the function running on this node, through which
  // its children hand over their values during one pass.
  void* scratch = nullptr;
  uint32_t flags = 0;
};

// While set, get_pref ignores user values.
extern uint8_t restoring_defaults;

pref_tree_ref create_tree_object(int32_t kind, std::string_view key, pref_node_fn write_fn,
                                 pref_node_fn read_fn, uint32_t flags);
pref_item_info* get_object_info(PrefNode* node);
// `parent` is left untouched for a root.
void setup_info_pointers(PrefNode* node, pref_item_info** parent, pref_item_info** self);
void create_user_entry(pref_item_info* info);

// The node's effective value (user, else default), or null.
plist::ValueRef get_pref(PrefNode* node);
void put_pref(PrefNode* node);
void del_pref(PrefNode* node);
// As put_pref and del_pref, for an indexed container as a whole.
void put_top_pref(PrefNode* node);
void del_top_pref(PrefNode* node);

// Runs every child's read function (write == 0) or write function, then,
// after a write, stores or removes the node itself.
void call_children(PrefNode* node, uint8_t write);

// 1 when the node has a value and its elements were unpacked, else 0.
int setup_arrays(PrefNode* node);
// Replace the element arrays with the container's entries; the new count.
int32_t do_array_from_array(const plist::ValueRef& cell, std::vector<plist::ValueRef>* values);
int32_t do_array_from_dict(const plist::ValueRef& cell,
                           std::vector<std::optional<std::string>>* keys,
                           std::vector<plist::ValueRef>* values);

// The first node in depth-first pre-order keyed `key`, or null.
PrefNode* get_tree_ref(PrefNode* root, std::string_view key);

// The element of a container at `index`, or null when out of range.
const plist::ValueRef* element_at(const std::vector<plist::ValueRef>& elements, int32_t index);

}  // namespace cx

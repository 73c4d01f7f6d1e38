// What the node functions share: numbers at a fixed width, the rule by which
// a leaf keeps, stores or deletes its user value, and the parent's buffer.
#pragma once

#include <cstdint>
#include <optional>

#include "plist/value.h"
#include "prefs/pref_tree.h"

namespace cx {

// The value as a number of type `type` (C conversion), or nothing when it is
// not a number.
std::optional<int64_t> number_as(const plist::Value* value, plist::NumberType type);

// After reading `driver_value` from the driver: keeps the user value when the
// driver holds it, deletes it when the driver holds the default, else stores
// the driver's value. Numbers compare at `type`.
void apply_leaf_rule(PrefNode* node, const plist::ValueRef& driver_value, plist::NumberType type);

// For a writer that cannot learn the driver's value: what the user has stays.
void keep_user_value(pref_item_info* info);

// Runs the node's read function on the dictionaries alone, giving its
// subtree the user values a write pass compares the driver with.
void refresh_from_dictionaries(PrefNode* node);

// A driver record access: CXAccessGlobalData or CXAccessAppData.
using record_access = int16_t (*)(int16_t index, uint8_t mode, void* buffer, uint32_t length);

// The write pass of a node whose children share one driver record: fetched
// into `record`, then each child settles its part.
void write_record_children(PrefNode* node, record_access access, int16_t index, uint8_t* record,
                           uint32_t size);

// The parent's scratch buffer, or null.
template <class T>
T* parent_scratch(PrefNode* node) {
  return node && node->parent() ? static_cast<T*>(node->parent()->context().scratch) : nullptr;
}

}  // namespace cx

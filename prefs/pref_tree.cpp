#include "prefs/pref_tree.h"

#include <cstdio>

namespace cx {

uint8_t restoring_defaults = 0;

namespace {

const char* type_name(plist::Type t) {
  switch (t) {
    case plist::Type::Dictionary:
      return "dictionary";
    case plist::Type::Array:
      return "array";
    case plist::Type::String:
      return "string";
    case plist::Type::Number:
      return "number";
    case plist::Type::Boolean:
      return "boolean";
    case plist::Type::Data:
      return "data";
    case plist::Type::Date:
      return "date";
  }
  return "value";
}

plist::Dictionary* container(const pref_item_info& parent, bool user) {
  if (parent.flags & pref_flag::indexed) {
    const auto* e = element_at(user ? parent.user_elements : parent.default_elements,
                               user ? parent.user_index : parent.default_index);
    return e ? plist::as<plist::Dictionary>(*e) : nullptr;
  }
  return plist::as<plist::Dictionary>(user ? parent.user_value : parent.default_value);
}

plist::ValueRef lookup(const plist::Dictionary* dict, const pref_item_info& self,
                       const char* side) {
  if (!dict) return nullptr;
  plist::ValueRef v = dict->get(self.key);
  if (v && v->type() != self.value_type) {
    std::fprintf(stderr, "Corvex Background: %s preference \"%s\" is a %s, not a %s; ignored\n",
                 side, self.key.c_str(), type_name(v->type()), type_name(self.value_type));
    return nullptr;
  }
  return v;
}

plist::Type type_of_kind(int32_t kind) {
  switch (kind) {
    case pref_kind::array:
      return plist::Type::Array;
    case pref_kind::string:
      return plist::Type::String;
    case pref_kind::number:
      return plist::Type::Number;
    default:
      return plist::Type::Dictionary;
  }
}

}  // namespace

const plist::ValueRef* element_at(const std::vector<plist::ValueRef>& elements, int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < elements.size() ? &elements[index] : nullptr;
}

pref_tree_ref create_tree_object(int32_t kind, std::string_view key, pref_node_fn write_fn,
                                 pref_node_fn read_fn, uint32_t flags) {
  pref_item_info info;
  info.key = std::string(key);
  info.kind = kind;
  info.value_type = type_of_kind(kind);
  info.write_fn = write_fn;
  info.read_fn = read_fn;
  info.flags = flags;
  return PrefNode::create(std::move(info));
}

pref_item_info* get_object_info(PrefNode* node) {
  return node ? &node->context() : nullptr;
}

void setup_info_pointers(PrefNode* node, pref_item_info** parent, pref_item_info** self) {
  *self = get_object_info(node);
  if (node && node->parent()) *parent = get_object_info(node->parent());
}

void create_user_entry(pref_item_info* info) {
  switch (info->kind) {
    case pref_kind::dictionary:
      info->user_value = plist::make_dictionary();
      break;
    case pref_kind::array:
      info->user_value = plist::make_array();
      break;
    case pref_kind::string:
      info->user_value = plist::make_string("");
      break;
    case pref_kind::number:
      info->user_value = plist::make_number(plist::NumberType::Int, 0);
      break;
    default:
      info->user_value.reset();
      break;
  }
}

plist::ValueRef get_pref(PrefNode* node) {
  pref_item_info* parent = nullptr;
  pref_item_info* self = nullptr;
  setup_info_pointers(node, &parent, &self);
  if (!parent || !self) return nullptr;
  self->user_value.reset();
  self->flags &= ~pref_flag::user_present;
  if ((parent->flags & pref_flag::user_present) && !restoring_defaults) {
    self->user_value = lookup(container(*parent, true), *self, "user");
    if (self->user_value) self->flags |= pref_flag::user_present;
  }
  self->default_value = lookup(container(*parent, false), *self, "default");
  return self->user_value ? self->user_value : self->default_value;
}

void put_pref(PrefNode* node) {
  pref_item_info* parent = nullptr;
  pref_item_info* self = nullptr;
  setup_info_pointers(node, &parent, &self);
  if (!parent || !self) return;
  if (self->flags & pref_flag::indexed) {
    auto* dict = plist::as<plist::Dictionary>(self->user_value);
    const auto* element = element_at(self->user_elements, self->user_index);
    if (dict && element && *element && self->user_keys[self->user_index])
      dict->set(*self->user_keys[self->user_index], *element);
  } else {
    if (!(parent->flags & (pref_flag::user_present | pref_flag::user_written))) {
      create_user_entry(parent);
      parent->flags |= pref_flag::user_written;
    }
    if (auto* dict = container(*parent, true); dict && self->user_value)
      dict->set(self->key, self->user_value);
  }
  self->flags |= pref_flag::user_written | pref_flag::user_present;
}

void del_pref(PrefNode* node) {
  pref_item_info* parent = nullptr;
  pref_item_info* self = nullptr;
  setup_info_pointers(node, &parent, &self);
  if (!parent || !self) return;
  if (self->flags & pref_flag::indexed) {
    const int32_t i = self->user_index;
    if (!element_at(self->user_elements, i)) return;
    auto* dict = plist::as<plist::Dictionary>(self->user_value);
    if (dict && self->user_keys[i]) dict->remove(*self->user_keys[i]);
    self->user_keys[i].reset();
    self->user_elements[i].reset();
    return;
  }
  if (auto* dict = container(*parent, true)) dict->remove(self->key);
  self->flags &= ~(pref_flag::user_present | pref_flag::user_written | pref_flag::changed);
  self->user_value.reset();
}

void put_top_pref(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  if (!self) return;
  self->flags &= ~pref_flag::indexed;
  put_pref(node);
  self->flags |= pref_flag::indexed;
}

void del_top_pref(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  if (!self) return;
  self->flags &= ~pref_flag::indexed;
  del_pref(node);
  self->flags |= pref_flag::indexed;
}

void call_children(PrefNode* node, uint8_t write) {
  pref_item_info* self = get_object_info(node);
  if (!self) return;
  bool any_changed = false;
  for (const pref_tree_ref& child : node->children()) {
    pref_item_info& c = child->context();
    // Every other bit goes: the child's own get_pref sets them again.
    if (self->flags & pref_flag::tree_only)
      c.flags = pref_flag::tree_only;
    else
      c.flags &= ~pref_flag::tree_only;
    if (!write) {
      if (c.read_fn) c.read_fn(child.get());
      c.flags &= ~pref_flag::tree_only;
    } else {
      if (c.write_fn) c.write_fn(child.get());
      if (c.flags & pref_flag::changed) any_changed = true;
    }
  }
  if (!write) return;
  if (any_changed)
    self->flags |= pref_flag::changed;
  else
    self->flags &= ~pref_flag::changed;
  if (self->flags & pref_flag::changed)
    put_pref(node);
  else if ((self->flags & pref_flag::user_present) && self->key != "CXPrefData")
    del_pref(node);
}

int32_t do_array_from_array(const plist::ValueRef& cell, std::vector<plist::ValueRef>* values) {
  const auto* array = plist::as<plist::Array>(cell);
  *values = array ? array->items() : std::vector<plist::ValueRef>{};
  return static_cast<int32_t>(values->size());
}

int32_t do_array_from_dict(const plist::ValueRef& cell,
                           std::vector<std::optional<std::string>>* keys,
                           std::vector<plist::ValueRef>* values) {
  keys->clear();
  values->clear();
  if (const auto* dict = plist::as<plist::Dictionary>(cell)) {
    for (const auto& [k, v] : dict->entries()) {
      keys->emplace_back(k);
      values->push_back(v);
    }
  }
  return static_cast<int32_t>(values->size());
}

namespace {

void unpack(const plist::ValueRef& value, std::vector<std::optional<std::string>>* keys,
            std::vector<plist::ValueRef>* values) {
  if (!value) return;
  if (value->type() == plist::Type::Array) {
    do_array_from_array(value, values);
    keys->assign(values->size(), std::nullopt);
  } else if (value->type() == plist::Type::Dictionary) {
    do_array_from_dict(value, keys, values);
  }
}

}  // namespace

int setup_arrays(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  if (!self) return 0;
  const bool found = get_pref(node) != nullptr;
  // Elements of an earlier pass must not be read as this one's.
  self->user_elements.clear();
  self->user_keys.clear();
  if (!found) {
    self->default_elements.clear();
    self->default_keys.clear();
    return 0;
  }
  if (self->flags & pref_flag::user_present)
    unpack(self->user_value, &self->user_keys, &self->user_elements);
  unpack(self->default_value, &self->default_keys, &self->default_elements);
  self->flags |= pref_flag::indexed;
  return 1;
}

PrefNode* get_tree_ref(PrefNode* root, std::string_view key) {
  if (!root) return nullptr;
  if (root->context().key == key) return root;
  for (const pref_tree_ref& child : root->children())
    if (PrefNode* found = get_tree_ref(child.get(), key)) return found;
  return nullptr;
}

}  // namespace cx

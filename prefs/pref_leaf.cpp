#include "prefs/pref_leaf.h"

#include "driver/data_requests.h"

#include <cstring>

namespace cx {

std::optional<int64_t> number_as(const plist::Value* value, plist::NumberType type) {
  const auto* number = plist::as<plist::Number>(value);
  if (!number) return std::nullopt;
  switch (plist::number_type_size(type)) {
    case 1: {
      int8_t v = 0;
      number->get_value(type, &v);
      return v;
    }
    case 2: {
      int16_t v = 0;
      number->get_value(type, &v);
      return v;
    }
    case 4: {
      int32_t v = 0;
      number->get_value(type, &v);
      return v;
    }
    default: {
      int64_t v = 0;
      number->get_value(type, &v);
      return v;
    }
  }
}

namespace {

bool same_value(const plist::Value* stored, const plist::Value& driver, plist::NumberType type) {
  if (const auto* b = plist::as<plist::Boolean>(&driver)) {
    const auto* s = plist::as<plist::Boolean>(stored);
    return s && s->value() == b->value();
  }
  const auto a = number_as(stored, type);
  return a && a == number_as(&driver, type);
}

}  // namespace

void apply_leaf_rule(PrefNode* node, const plist::ValueRef& driver_value, plist::NumberType type) {
  pref_item_info* self = get_object_info(node);
  if (!self || !driver_value) return;
  if ((self->flags & pref_flag::user_present) &&
      same_value(self->user_value.get(), *driver_value, type)) {
    self->flags |= pref_flag::changed;
    return;
  }
  if (same_value(self->default_value.get(), *driver_value, type)) {
    if (self->flags & pref_flag::user_present) del_pref(node);
    return;
  }
  self->user_value = driver_value;
  put_pref(node);
  self->flags |= pref_flag::changed;
}

void keep_user_value(pref_item_info* info) {
  if (info->flags & pref_flag::user_present) info->flags |= pref_flag::changed;
}

void refresh_from_dictionaries(PrefNode* node) {
  pref_item_info* info = get_object_info(node);
  info->flags = pref_flag::tree_only;
  info->read_fn(node);
  info->flags &= ~pref_flag::tree_only;
}

void write_record_children(PrefNode* node, record_access access, int16_t index, uint8_t* record,
                           uint32_t size) {
  pref_item_info* self = get_object_info(node);
  if (access(index, kDataModeRead, record, size) <= 0) {
    keep_user_value(self);
    return;
  }
  self->scratch = record;
  call_children(node, 1);
  self->scratch = nullptr;
}

}  // namespace cx

#include <cmath>
#include <string_view>
#include <unordered_map>

#include "plist/value.h"

namespace cx::plist {

namespace {

bool same_time(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

bool same_entries(const Dictionary& a, const Dictionary& b) {
  if (a.size() != b.size()) return false;
  // Small dictionaries are cheaper to scan than to index.
  constexpr size_t kIndexFrom = 16;
  if (a.size() < kIndexFrom) {
    for (const auto& [key, value] : a.entries()) {
      const ValueRef other = b.get(key);
      if (!other || !equal(value.get(), other.get())) return false;
    }
    return true;
  }
  std::unordered_map<std::string_view, const Value*> index;
  index.reserve(b.size());
  for (const auto& [key, value] : b.entries()) index.emplace(key, value.get());
  for (const auto& [key, value] : a.entries()) {
    auto found = index.find(key);
    if (found == index.end() || !equal(value.get(), found->second)) return false;
  }
  return true;
}

bool same_items(const Array& a, const Array& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (!equal(a.at(i).get(), b.at(i).get())) return false;
  return true;
}

}  // namespace

bool equal(const Value* a, const Value* b) {
  if (a == b) return true;
  if (!a || !b || a->type() != b->type()) return false;
  switch (a->type()) {
    case Type::Dictionary:
      return same_entries(*as<Dictionary>(a), *as<Dictionary>(b));
    case Type::Array:
      return same_items(*as<Array>(a), *as<Array>(b));
    case Type::String:
      return as<String>(a)->text() == as<String>(b)->text();
    case Type::Number:
      return same_number(*as<Number>(a), *as<Number>(b));
    case Type::Boolean:
      return as<Boolean>(a)->value() == as<Boolean>(b)->value();
    case Type::Data:
      return as<Data>(a)->bytes() == as<Data>(b)->bytes();
    case Type::Date:
      return same_time(as<Date>(a)->absolute_time(), as<Date>(b)->absolute_time());
  }
  return false;
}

ValueRef deep_copy(const Value* v) {
  if (!v) return nullptr;
  if (const auto* dict = as<Dictionary>(v)) {
    std::vector<Dictionary::Entry> entries;
    entries.reserve(dict->size());
    for (const auto& [key, value] : dict->entries())
      entries.emplace_back(key, deep_copy(value.get()));
    return make_dictionary(std::move(entries));
  }
  if (const auto* array = as<Array>(v)) {
    auto copy = make_array();
    for (const auto& item : array->items()) copy->append(deep_copy(item.get()));
    return copy;
  }
  switch (v->type()) {
    case Type::String:
      return std::make_shared<String>(*as<String>(v));
    case Type::Number:
      return std::make_shared<Number>(*as<Number>(v));
    case Type::Boolean:
      return std::make_shared<Boolean>(*as<Boolean>(v));
    case Type::Data:
      return std::make_shared<Data>(*as<Data>(v));
    case Type::Date:
      return std::make_shared<Date>(*as<Date>(v));
    case Type::Dictionary:
    case Type::Array:
      break;
  }
  return nullptr;
}

}  // namespace cx::plist

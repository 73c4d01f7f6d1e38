#include "plist/value.h"

#include <algorithm>
#include <unordered_map>

namespace cx::plist {

void Array::remove(size_t i) {
  if (i < items_.size()) items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(i));
}

Dictionary::Dictionary(std::vector<Entry> entries) : Value(Type::Dictionary) {
  // Most dictionaries of a file are small: comparing every pair costs less
  // than building an index, and a file without repeated keys keeps its
  // vector as it is.
  constexpr size_t kIndexFrom = 16;
  if (entries.size() < kIndexFrom) {
    size_t kept = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
      const auto earlier =
          std::find_if(entries.begin(), entries.begin() + kept,
                       [&](const Entry& e) { return e.first == entries[i].first; });
      if (earlier != entries.begin() + kept)
        earlier->second = std::move(entries[i].second);
      else if (kept++ != i)
        entries[kept - 1] = std::move(entries[i]);
    }
    entries.resize(kept);
    entries_ = std::move(entries);
    return;
  }
  // Readers hand over whole files: a hash index keeps this linear, and a
  // repeated key keeps its first position and takes its last value.
  std::unordered_map<std::string_view, size_t> seen;
  seen.reserve(entries.size());
  entries_.reserve(entries.size());
  for (auto& e : entries) {
    auto found = seen.find(e.first);
    if (found != seen.end()) {
      entries_[found->second].second = std::move(e.second);
      continue;
    }
    entries_.push_back(std::move(e));
    seen.emplace(entries_.back().first, entries_.size() - 1);
  }
}

ValueRef Dictionary::get(std::string_view key) const {
  for (const auto& e : entries_)
    if (e.first == key) return e.second;
  return nullptr;
}

bool Dictionary::contains(std::string_view key) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [key](const Entry& e) { return e.first == key; });
}

void Dictionary::set(std::string_view key, ValueRef v) {
  for (auto& e : entries_) {
    if (e.first == key) {
      e.second = std::move(v);
      return;
    }
  }
  entries_.emplace_back(std::string(key), std::move(v));
}

bool Dictionary::remove(std::string_view key) {
  auto it = std::find_if(entries_.begin(), entries_.end(),
                         [key](const Entry& e) { return e.first == key; });
  if (it == entries_.end()) return false;
  entries_.erase(it);
  return true;
}

ValueRef make_string(std::string s) {
  return std::make_shared<String>(std::move(s));
}
ValueRef make_number(NumberType t, int64_t v) {
  return std::make_shared<Number>(t, v);
}
ValueRef make_real(NumberType t, double v) {
  return std::make_shared<Number>(t, v);
}
ValueRef make_int32(int32_t v) {
  return std::make_shared<Number>(NumberType::SInt32, int64_t{v});
}
ValueRef make_uint64(uint64_t v) {
  return std::make_shared<Number>(v);
}
ValueRef make_bool(bool b) {
  return std::make_shared<Boolean>(b);
}
ValueRef make_data(std::vector<uint8_t> bytes) {
  return std::make_shared<Data>(std::move(bytes));
}
ValueRef make_date(double absolute_time) {
  return std::make_shared<Date>(absolute_time);
}
std::shared_ptr<Array> make_array() {
  return std::make_shared<Array>();
}
std::shared_ptr<Dictionary> make_dictionary() {
  return std::make_shared<Dictionary>();
}
std::shared_ptr<Dictionary> make_dictionary(std::vector<Dictionary::Entry> entries) {
  return std::make_shared<Dictionary>(std::move(entries));
}

}  // namespace cx::plist

#include "plist/libplist_bridge.h"

#include <bit>
#include <cstdlib>
#include <optional>
#include <vector>

#include "plist/date_text.h"
#include "plist/limits.h"
#include "plist/text.h"
#include "util/byte_order.h"

namespace cx::plist {

namespace {

struct CFree {
  void operator()(void* p) const { std::free(p); }
};

std::string too_deep() {
  return "nesting deeper than " + std::to_string(kMaxDepth) + " levels";
}

// The root object of libplist's binary form of `node` alone (marker byte
// first): libplist 2.2's only public way to some facts it keeps. Empty when
// it cannot write one.
std::vector<uint8_t> root_object_of(plist_t node) {
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(node, &bytes, &length);
  const std::unique_ptr<char, void (*)(char*)> owned(bytes, plist_to_bin_free);
  constexpr uint32_t kRootAt = 8;  // after "bplist00"
  if (!bytes || length <= kRootAt) return {};
  return std::vector<uint8_t>(bytes + kRootAt, bytes + length);
}

// libplist 2.2 does not say whether an integer above INT64_MAX is unsigned
// (a 16-byte integer in the file, or a large XML literal) or a negative
// 8-byte one; its own binary writer does, in the root object's marker.
bool is_wide_integer(plist_t node) {
  const std::vector<uint8_t> root = root_object_of(node);
  return !root.empty() && root[0] == 0x14;
}

ValueRef integer_from(plist_t node) {
  uint64_t bits = 0;
  plist_get_uint_val(node, &bits);
  if (bits > uint64_t{INT64_MAX} && is_wide_integer(node)) return make_uint64(bits);
  const auto v = static_cast<int64_t>(bits);
  const bool fits32 = v >= INT32_MIN && v <= INT32_MAX;
  return make_number(fits32 ? NumberType::SInt32 : NumberType::SInt64, v);
}

// libplist 2.2 keeps the whole date but hands out only 32-bit seconds; its
// binary writer gives the exact time.
ValueRef date_from(plist_t node) {
  const std::vector<uint8_t> root = root_object_of(node);
  if (root.size() < 9 || root[0] != 0x33) return make_date(0);
  return make_date(std::bit_cast<double>(load_be64(root.data() + 1)));
}

ValueRef convert(plist_t node, int depth, std::string& error);

ValueRef array_from(plist_t node, int depth, std::string& error) {
  auto array = make_array();
  plist_array_iter iter = nullptr;
  plist_array_new_iter(node, &iter);
  const std::unique_ptr<void, CFree> owned(iter);
  for (;;) {
    plist_t item = nullptr;
    plist_array_next_item(node, iter, &item);
    if (!item) break;
    ValueRef v = convert(item, depth + 1, error);
    if (!v) return nullptr;
    array->append(std::move(v));
  }
  return array;
}

ValueRef dictionary_from(plist_t node, int depth, std::string& error) {
  std::vector<Dictionary::Entry> entries;
  plist_dict_iter iter = nullptr;
  plist_dict_new_iter(node, &iter);
  const std::unique_ptr<void, CFree> owned(iter);
  for (;;) {
    char* key = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, iter, &key, &item);
    const std::unique_ptr<char, CFree> owned_key(key);
    if (!item) break;
    ValueRef v = convert(item, depth + 1, error);
    if (!v) return nullptr;
    entries.emplace_back(key ? key : "", std::move(v));
  }
  return make_dictionary(std::move(entries));
}

ValueRef convert(plist_t node, int depth, std::string& error) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      uint8_t b = 0;
      plist_get_bool_val(node, &b);
      return make_bool(b != 0);
    }
    case PLIST_UINT:
      return integer_from(node);
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      return make_real(NumberType::Float64, d);
    }
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return make_string(text ? std::string(text, length) : std::string());
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const auto* bytes = reinterpret_cast<const uint8_t*>(plist_get_data_ptr(node, &length));
      return make_data(bytes ? std::vector<uint8_t>(bytes, bytes + length)
                             : std::vector<uint8_t>());
    }
    case PLIST_DATE:
      return date_from(node);
    case PLIST_ARRAY:
    case PLIST_DICT:
      if (depth >= kMaxDepth) {
        error = too_deep();
        return nullptr;
      }
      return plist_get_node_type(node) == PLIST_ARRAY ? array_from(node, depth, error)
                                                      : dictionary_from(node, depth, error);
    default:
      break;
  }
  error = "unsupported value type";
  return nullptr;
}

}  // namespace

ValueRef from_libplist(plist_t node, std::string& error) {
  if (!node) {
    error = "no value";
    return nullptr;
  }
  return convert(node, 0, error);
}

}  // namespace cx::plist

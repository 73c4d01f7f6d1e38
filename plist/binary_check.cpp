#include "plist/binary_check.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string_view>
#include <vector>

#include "plist/limits.h"
#include "util/byte_order.h"

namespace cx::plist {

namespace {

constexpr size_t kHeaderSize = 8;
constexpr size_t kTrailerSize = 32;

bool is_field_size(unsigned n) {
  return n == 1 || n == 2 || n == 4 || n == 8;
}

uint64_t load_be(const uint8_t* p, unsigned size) {
  switch (size) {
    case 1:
      return p[0];
    case 2:
      return load_be16(p);
    case 4:
      return load_be32(p);
    default:
      return load_be64(p);
  }
}

std::string number(uint64_t n) {
  return std::to_string(n);
}

// What the walk needs to know about a container once it has been checked.
struct Children {
  size_t refs_at = 0;  // offset of the first object reference
  uint64_t count = 0;  // number of references (keys and values of a dictionary)
  uint64_t keys = 0;   // the first `keys` references must name strings
};

struct Node {
  enum State : uint8_t { Unseen, OnPath, Done } state = Unseen;
  int height = 0;       // container levels in this object's tree
  uint64_t values = 0;  // values in this object's tree, shared objects counted each time
};

class Checker {
 public:
  explicit Checker(std::span<const uint8_t> data) : data_(data) {}

  std::optional<BinaryDefect> run() {
    if (check_frame() && walk()) return std::nullopt;
    return BinaryDefect{failure_at_, failure_};
  }

 private:
  struct PathEntry {
    uint64_t object;
    Children children;
    uint64_t next = 0;
  };

  bool fail(size_t at, std::string what) {
    failure_at_ = at;
    failure_ = std::move(what);
    return false;
  }

  bool check_frame() {
    const size_t size = data_.size();
    constexpr std::string_view kMagic = "bplist";
    if (size < kHeaderSize || !std::equal(kMagic.begin(), kMagic.end(), data_.begin()))
      return fail(0, "not a binary property list");
    if (data_[6] != '0' || data_[7] != '0')
      return fail(6, "unsupported binary property list version");
    if (size < kHeaderSize + kTrailerSize + 1) return fail(size, "truncated trailer");
    const size_t trailer = size - kTrailerSize;
    const uint8_t* t = data_.data() + trailer;
    offset_size_ = t[6];
    ref_size_ = t[7];
    object_count_ = load_be64(t + 8);
    const uint64_t root = load_be64(t + 16);
    table_at_ = load_be64(t + 24);
    if (!is_field_size(offset_size_))
      return fail(trailer + 6, "bad offset size " + number(offset_size_));
    if (!is_field_size(ref_size_))
      return fail(trailer + 7, "bad object reference size " + number(ref_size_));
    if (object_count_ == 0) return fail(trailer + 8, "no objects");
    if (root >= object_count_)
      return fail(trailer + 16, "root object " + number(root) + " out of range");
    if (table_at_ < kHeaderSize + 1 || table_at_ >= trailer)
      return fail(trailer + 24, "offset table outside the file");
    if (object_count_ > (trailer - table_at_) / offset_size_)
      return fail(table_at_, "offset table runs into the trailer");
    root_ = root;
    for (uint64_t i = 0; i < object_count_; ++i) {
      const uint64_t at = object_offset(i);
      if (at < kHeaderSize || at >= table_at_) {
        return fail(table_at_ + i * offset_size_, "object " + number(i) + " at offset " +
                                                      number(at) + " outside the object area");
      }
    }
    nodes_.assign(object_count_, Node{});
    return true;
  }

  uint64_t object_offset(uint64_t i) const {
    return load_be(data_.data() + table_at_ + i * offset_size_, offset_size_);
  }

  // Length of an object's count: the low nibble, or an integer object after
  // the marker when the nibble is 0xF. `at` moves past it.
  bool read_count(size_t marker_at, size_t& at, uint64_t& count) {
    const uint8_t low = data_[marker_at] & 0x0F;
    at = marker_at + 1;
    if (low != 0x0F) {
      count = low;
      return true;
    }
    if (at >= table_at_ || (data_[at] & 0xF0) != 0x10 || (data_[at] & 0x0F) > 3)
      return fail(marker_at, "bad length of object");
    const unsigned size = 1u << (data_[at] & 0x0F);
    if (size > table_at_ - at - 1) return fail(marker_at, "object runs past the object area");
    count = load_be(data_.data() + at + 1, size);
    at += 1 + size;
    return true;
  }

  bool fits(size_t marker_at, size_t at, uint64_t count, uint64_t unit) {
    if (count > (table_at_ - at) / unit) return fail(marker_at, "object runs past the object area");
    return true;
  }

  bool check_ascii(size_t at, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
      const uint8_t c = data_[at + i];
      if (c == 0) return fail(at + i, "NUL in a string");
      if (c >= 0x80) return fail(at + i, "non-ASCII byte in an ASCII string");
    }
    return true;
  }

  bool check_utf16(size_t at, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
      const size_t unit_at = at + 2 * i;
      const uint16_t u = load_be16(data_.data() + unit_at);
      if (u == 0) return fail(unit_at, "NUL in a string");
      if (u >= 0xDC00 && u <= 0xDFFF) return fail(unit_at, "unpaired UTF-16 surrogate");
      if (u >= 0xD800 && u <= 0xDBFF) {
        const bool paired =
            i + 1 < count && (load_be16(data_.data() + unit_at + 2) & 0xFC00) == 0xDC00;
        if (!paired) return fail(unit_at, "unpaired UTF-16 surrogate");
        ++i;
      }
    }
    return true;
  }

  // Checks one object; containers report where their references are.
  bool check_object(uint64_t index, Children& children) {
    const size_t at = object_offset(index);
    const uint8_t marker = data_[at];
    const unsigned low = marker & 0x0F;
    const size_t room = table_at_ - at - 1;
    children = Children{};
    switch (marker >> 4) {
      case 0x0:
        if (low == 0x8 || low == 0x9) return true;
        break;
      case 0x1: {
        if (low > 4) break;
        const size_t size = size_t{1} << low;
        if (size > room) return fail(at, "object runs past the object area");
        // libplist keeps only the low 64 bits of a 128-bit integer.
        if (size == 16 && load_be64(data_.data() + at + 1) != 0)
          return fail(at, "integer out of range");
        return true;
      }
      case 0x2:
        if (low != 2 && low != 3) break;
        if ((size_t{1} << low) > room) return fail(at, "object runs past the object area");
        return true;
      case 0x3: {
        if (low != 3) break;
        if (8 > room) return fail(at, "object runs past the object area");
        const double t = std::bit_cast<double>(load_be64(data_.data() + at + 1));
        if (!std::isfinite(t)) return fail(at, "date is not a finite time");
        return true;
      }
      case 0x4: {
        size_t from = 0;
        uint64_t count = 0;
        return read_count(at, from, count) && fits(at, from, count, 1);
      }
      case 0x5: {
        size_t from = 0;
        uint64_t count = 0;
        return read_count(at, from, count) && fits(at, from, count, 1) && check_ascii(from, count);
      }
      case 0x6: {
        size_t from = 0;
        uint64_t count = 0;
        return read_count(at, from, count) && fits(at, from, count, 2) && check_utf16(from, count);
      }
      case 0xA:
      case 0xD: {
        const uint64_t per_entry = (marker >> 4) == 0xD ? 2 : 1;
        size_t from = 0;
        uint64_t count = 0;
        if (!read_count(at, from, count) || !fits(at, from, count, per_entry * ref_size_))
          return false;
        children.refs_at = from;
        children.count = count * per_entry;
        children.keys = per_entry == 2 ? count : 0;
        return true;
      }
      default:
        break;
    }
    if ((marker >> 4) == 0x8)
      return fail(at, "UID object (a keyed archive), not a property list value");
    return fail(at, "unsupported object type 0x" + hex_byte(marker));
  }

  static std::string hex_byte(uint8_t b) {
    static constexpr char kDigits[] = "0123456789abcdef";
    return {kDigits[b >> 4], kDigits[b & 0xF]};
  }

  bool is_container(uint64_t index) const {
    const uint8_t type = data_[object_offset(index)] >> 4;
    return type == 0xA || type == 0xD;
  }

  bool is_string(uint64_t index) const {
    const uint8_t type = data_[object_offset(index)] >> 4;
    return type == 0x5 || type == 0x6;
  }

  // Depth-first over the object graph with an explicit path: refuses
  // cycles, nesting beyond kMaxDepth and trees that expand past the value
  // budget. Each object is checked once.
  bool walk() {
    const uint64_t budget = kMaxValuesPerByte * data_.size();
    std::vector<PathEntry> path;
    if (!enter(root_, path)) return false;
    while (!path.empty()) {
      PathEntry& top = path.back();
      if (top.next == top.children.count) {
        Node& done = nodes_[top.object];
        done.state = Node::Done;
        done.height += 1;
        done.values = std::min(done.values + 1, budget + 1);
        if (done.values > budget) {
          return fail(object_offset(top.object),
                      "too many values once shared objects are expanded");
        }
        const uint64_t finished = top.object;
        path.pop_back();
        if (!path.empty()) add_child(path.back().object, finished, budget);
        continue;
      }
      const size_t ref_at = top.children.refs_at + top.next * ref_size_;
      const bool key = top.next < top.children.keys;
      ++top.next;
      const uint64_t child = load_be(data_.data() + ref_at, ref_size_);
      if (child >= object_count_)
        return fail(ref_at, "object reference " + number(child) + " out of range");
      if (key && !is_string(child)) return fail(ref_at, "dictionary key is not a string");
      const uint64_t parent = top.object;
      switch (nodes_[child].state) {
        case Node::OnPath:
          return fail(ref_at, "reference cycle through object " + number(child));
        case Node::Done:
          if (path.size() + static_cast<size_t>(nodes_[child].height) >
              static_cast<size_t>(kMaxDepth))
            return fail(ref_at, too_deep());
          add_child(parent, child, budget);
          break;
        case Node::Unseen:
          if (is_container(child) && path.size() >= static_cast<size_t>(kMaxDepth))
            return fail(ref_at, too_deep());
          if (!enter(child, path)) return false;
          // `top` may have moved; a scalar is finished at once.
          if (nodes_[child].state == Node::Done) add_child(parent, child, budget);
          break;
      }
    }
    return true;
  }

  // Checks an unseen object; a container goes on the path, a scalar is done.
  bool enter(uint64_t index, std::vector<PathEntry>& path) {
    Children children;
    if (!check_object(index, children)) return false;
    Node& node = nodes_[index];
    if (is_container(index)) {
      node.state = Node::OnPath;
      path.push_back({index, children});
    } else {
      node.state = Node::Done;
      node.values = 1;
    }
    return true;
  }

  void add_child(uint64_t parent, uint64_t child, uint64_t budget) {
    Node& p = nodes_[parent];
    const Node& c = nodes_[child];
    p.height = std::max(p.height, c.height);
    p.values = std::min(p.values + c.values, budget + 1);
  }

  static std::string too_deep() {
    return "nesting deeper than " + std::to_string(kMaxDepth) + " levels";
  }

  std::span<const uint8_t> data_;
  unsigned offset_size_ = 0;
  unsigned ref_size_ = 0;
  uint64_t object_count_ = 0;
  uint64_t root_ = 0;
  uint64_t table_at_ = 0;
  std::vector<Node> nodes_;
  size_t failure_at_ = 0;
  std::string failure_;
};

}  // namespace

std::optional<BinaryDefect> check_binary_plist(std::span<const uint8_t> data) {
  return Checker(data).run();
}

}  // namespace cx::plist

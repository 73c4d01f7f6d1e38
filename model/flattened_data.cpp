#include "model/flattened_data.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "model/actlist.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr uint32_t kSizeWord = 4;

}  // namespace

CXFlattenedData::CXFlattenedData() {
  reset_empty();
}

CXFlattenedData::CXFlattenedData(const unsigned char* flat) {
  setData(flat);
}

CXFlattenedData::CXFlattenedData(const unsigned char* flat, size_t available) {
  setData(flat, available);
}

uint32_t CXFlattenedData::getSize() const {
  return load_be32(getData());
}

void CXFlattenedData::setData(const void* flat) {
  const auto* bytes = static_cast<const uint8_t*>(flat);
  const uint32_t size = bytes ? load_be32(bytes) : 0;
  if (size < kSizeWord) {
    reset_empty();
    return;
  }
  assign(bytes, size);
}

bool CXFlattenedData::setData(const void* flat, size_t available) {
  const auto* bytes = static_cast<const uint8_t*>(flat);
  const uint32_t size = bytes && available >= kSizeWord ? load_be32(bytes) : 0;
  if (size < kSizeWord || size > available) {
    reset_empty();
    return false;
  }
  assign(bytes, size);
  return true;
}

void CXFlattenedData::reset_empty() {
  block_.assign(kSizeWord, 0);
  start_ = 0;
  set_size(kSizeWord);
}

void CXFlattenedData::assign(const uint8_t* flat, uint32_t size) {
  // A copy first: `flat` may point into this very record.
  std::vector<uint8_t> copy(flat, flat + size);
  block_.swap(copy);
  start_ = 0;
}

void CXFlattenedData::set_size(uint32_t size) {
  store_be32(block_.data() + start_, size);
}

void CXFlattenedData::write(const void* data, size_t n) {
  if (start_ > 0) {
    block_.erase(block_.begin(), block_.begin() + static_cast<std::ptrdiff_t>(start_));
    start_ = 0;
  }
  const auto* bytes = static_cast<const uint8_t*>(data);
  if (bytes && n > 0) block_.insert(block_.end(), bytes, bytes + n);
  set_size(static_cast<uint32_t>(block_.size()));
}

void CXFlattenedData::write(int32_t value) {
  write(static_cast<uint32_t>(value));
}

void CXFlattenedData::write(uint32_t value) {
  uint8_t bytes[4];
  store_be32(bytes, value);
  write(bytes, sizeof bytes);
}

void CXFlattenedData::write(int16_t value) {
  uint8_t bytes[2];
  store_be16(bytes, static_cast<uint16_t>(value));
  write(bytes, sizeof bytes);
}

void CXFlattenedData::write(uint8_t value) {
  write(&value, 1);
}

void CXFlattenedData::write(const act_item* list) {
  const uint16_t count = count_actlist(list);
  write(static_cast<int16_t>(count));
  uint8_t wire[kActItemWireSize];
  const act_item* item = list;
  for (uint16_t i = 0; i < count; ++i, item = item->link) {
    encode_act_item(*item, wire);
    write(wire, sizeof wire);
  }
}

void CXFlattenedData::write(const action_list_info& info) {
  write(info.bytes.data(), info.bytes.size());
}

void CXFlattenedData::write(const mouse_version_info& info) {
  write(info.bytes.data(), info.bytes.size());
}

void CXFlattenedData::writeUnknownData(const void* data, uint32_t n) {
  write(n);
  write(data, n);
}

void CXFlattenedData::take(uint8_t* out, size_t n) {
  const size_t present = std::min<size_t>(n, getDataSize());
  const uint32_t remaining = getSize() - static_cast<uint32_t>(present);
  if (present > 0) std::memcpy(out, getData() + kSizeWord, present);
  if (n > present) std::memset(out + present, 0, n - present);
  // The new size word lands on bytes just consumed.
  start_ += present;
  set_size(remaining);
}

int16_t CXFlattenedData::readShort() {
  uint8_t bytes[2];
  take(bytes, sizeof bytes);
  return static_cast<int16_t>(load_be16(bytes));
}

uint8_t CXFlattenedData::readUByte() {
  uint8_t value;
  take(&value, 1);
  return value;
}

uint32_t CXFlattenedData::readULong() {
  uint8_t bytes[4];
  take(bytes, sizeof bytes);
  return load_be32(bytes);
}

bool CXFlattenedData::readBool() {
  return readULong() != 0;
}

act_item_chain CXFlattenedData::readActItem() {
  const int count = readShort();
  if (count < 1) return {};
  std::vector<act_item> items;
  bool linked = true;
  // A missing item reads as zeros, link included, so a short record stops
  // the loop at once whatever the count says.
  while (static_cast<int>(items.size()) < count && linked) {
    uint8_t wire[kActItemWireSize];
    take(wire, sizeof wire);
    items.push_back(decode_act_item(wire));
    linked = act_item_wire_is_linked(wire);
  }
  return act_item_chain(std::move(items));
}

action_list_info CXFlattenedData::readActionListInfo() {
  action_list_info info;
  take(info.bytes.data(), info.bytes.size());
  return info;
}

mouse_version_info CXFlattenedData::readMouseVersionInfo() {
  mouse_version_info info;
  take(info.bytes.data(), info.bytes.size());
  return info;
}

std::vector<uint8_t> CXFlattenedData::readUnknownData(uint32_t* n) {
  std::vector<uint8_t> data = read(readULong());
  if (n) *n = static_cast<uint32_t>(data.size());
  return data;
}

std::vector<uint8_t> CXFlattenedData::read(size_t n) {
  std::vector<uint8_t> data(std::min<size_t>(n, getDataSize()));
  take(data.data(), data.size());
  return data;
}

}  // namespace cx

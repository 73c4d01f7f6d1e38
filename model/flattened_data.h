// CXFlattenedData: a growable, length-prefixed byte record. Values are
// appended in order and taken again from the front in the same order; the
// record is the payload of the driver's flattened-data exchange.
//
// Layout: 4-byte big-endian total size (itself included), then the values
// back to back, big-endian, no alignment, no tags. An empty record is 4 bytes.
//
// Readers take what the writer wrote. When a record is shorter than a read
// asks, the missing bytes read as zero and the record ends up empty; counts
// are capped by the bytes present, so no read allocates more than that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "model/act_item.h"
#include "model/act_item_chain.h"
#include "model/opaque_records.h"

namespace cx {

class CXFlattenedData {
 public:
  CXFlattenedData();
  // Copies a flattened block, trusting its first word for the length.
  explicit CXFlattenedData(const unsigned char* flat);
  // Copies a flattened block of which at most `available` bytes may be read;
  // a block whose first word is below 4 or above `available` gives an empty
  // record.
  CXFlattenedData(const unsigned char* flat, size_t available);

  // The block: the size word, then the payload.
  const uint8_t* getData() const { return block_.data() + start_; }
  uint32_t getSize() const;
  uint32_t getDataSize() const { return getSize() - 4; }
  // Replaces the record by a copy of another block, trusting its first word.
  void setData(const void* flat);
  // Checked form of setData; false (and an empty record) when the block does
  // not fit in `available` bytes.
  bool setData(const void* flat, size_t available);

  void write(int32_t value);
  void write(uint32_t value);
  void write(int16_t value);
  void write(uint8_t value);
  // The chain's item count (16 bits), then each item's 16 bytes.
  void write(const act_item* list);
  void write(const action_list_info& info);
  void write(const mouse_version_info& info);
  // n as 4 bytes, then the n bytes.
  void writeUnknownData(const void* data, uint32_t n);
  void write(const void* data, size_t n);
  // Other numbers (char, bool, long...) would silently pick some width.
  template <typename T>
  requires std::is_arithmetic_v<T>
  void write(T) = delete;

  int16_t readShort();
  uint8_t readUByte();
  uint32_t readULong();
  bool readBool();
  // The chain ends early where a stored link is null; the empty chain when
  // the count is below 1.
  act_item_chain readActItem();
  action_list_info readActionListInfo();
  mouse_version_info readMouseVersionInfo();
  // Reads n, then up to n bytes; *n is set to the number of bytes returned.
  std::vector<uint8_t> readUnknownData(uint32_t* n);
  // Up to n bytes: fewer only when the record runs out.
  std::vector<uint8_t> read(size_t n);

 private:
  void reset_empty();
  void assign(const uint8_t* flat, uint32_t size);
  void set_size(uint32_t size);
  // Takes n bytes into out, zero-filling what the record lacks.
  void take(uint8_t* out, size_t n);

  // Reads only move start_ forward; the record is block_[start_..].
  std::vector<uint8_t> block_;
  size_t start_ = 0;
};

}  // namespace cx

// Numbered data records (global data, or one application set's data): the
// indices that the agent uses have fixed sizes; any other index holds a
// small record of whatever length its first write gave.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace cx::refdriver {

struct RecordSize {
  uint16_t index;
  uint16_t size;
};

// Global data (CXAccessGlobalData).
inline constexpr RecordSize kGlobalRecordSizes[] = {
    {2, 5},     // acceleration levels
    {9, 4},     // chording speed
    {13, 2},    // bit 0x8: horizontal scrolling
    {16, 4},    // set while a legacy import loads action lists
    {37, 12},   // third word bit 0x0080: a popup menu is being tracked
    {73, 2},    // bit 0x0001: a popup menu is pending
    {90, 4},    // bit 0x1: a URL was just captured
    {91, 88},   // low-battery table
    {93, 132},  // acceleration tables, one per device class
    {94, 132}, {95, 132}, {96, 132}, {97, 132}, {98, 8},  // active user
};

// Global records the driver itself changes, and their bits.
inline constexpr uint16_t kHorizontalScrollIndex = 13;
inline constexpr uint16_t kHorizontalScrollBit = 0x8;
inline constexpr uint16_t kPendingPopupIndex = 73;
inline constexpr uint16_t kPendingPopupBit = 0x0001;
inline constexpr uint16_t kUrlCapturedIndex = 90;
inline constexpr uint8_t kUrlCapturedBit = 0x1;  // of the record's last byte

// Per-application data (CXAccessAppData).
inline constexpr RecordSize kAppRecordSizes[] = {
    {8, 2},     // legacy flag word
    {17, 434},  // legacy application data
    {72, 4},    // scrolling: speed, unused, flag word
};

class RecordStore {
 public:
  explicit RecordStore(std::span<const RecordSize> fixed);

  // Fixed records must be written whole; others take 1 to kMaxGenericRecord
  // bytes. kDone, kBadRequest or kNoRoom.
  int16_t write(uint16_t index, std::span<const uint8_t> data);
  // The record as it stands (its own length, whatever was asked); an index
  // never written reads as `length` zero bytes. kDone or kBadRequest.
  int16_t read(uint16_t index, uint32_t length, std::vector<uint8_t>& out) const;

  // A fixed record, for the driver's own use; null for other indices.
  std::vector<uint8_t>* fixed(uint16_t index);
  const std::map<uint16_t, std::vector<uint8_t>>& all() const { return records_; }

 private:
  std::span<const RecordSize> fixed_;
  std::map<uint16_t, std::vector<uint8_t>> records_;
  size_t generic_count_ = 0;
};

}  // namespace cx::refdriver

// Transfer blocks: the length-prefixed, checksummed framing of every request
// to the driver and every reply from it. Blocks are built and checked in
// place in a caller-given (usually shared) buffer.
//
// Layout, big-endian: 4-byte total length L (itself and the checksum
// included), L - 6 payload bytes, 2-byte checksum of the payload.
#pragma once

#include <cstdint>

namespace cx {

// Returned by CXTransferChecksum when the buffer holds no checkable block; a
// real checksum is always below 0x8000.
inline constexpr uint16_t kTransferNoChecksum = 0xFFFF;
// Length word and checksum.
inline constexpr uint32_t kTransferOverhead = 6;

struct CXTransferContext {
  uint8_t* buffer = nullptr;
  uint32_t capacity = 0;
  // Bytes claimed so far, length word included. Keeps growing after an
  // overflow so that CXTransferEnd reports the size the block needs.
  uint32_t used = 0;
  // The big-endian 16-bit status of a reply block, or null.
  uint8_t* resultSlot = nullptr;
};

// Every function below does nothing (or returns null / 0) for a null context.
void CXTransferStart(CXTransferContext* ctx, void* buffer, uint32_t capacity);
void CXTransferStartWithRequest(CXTransferContext* ctx, void* buffer, uint32_t capacity,
                                uint32_t requestCode);
void CXTransferStartWithResult(CXTransferContext* ctx, void* buffer, uint32_t capacity);

// Claims n bytes at the end of the block; null when they do not fit.
uint8_t* CXTransferTakeSpace(CXTransferContext* ctx, uint32_t n);
// Where the next byte would go and how many bytes remain (null and 0 when full).
uint8_t* CXTransferAvailSpace(CXTransferContext* ctx, uint32_t* avail);
// Claims n bytes and copies `data` into them; returns the address behind the
// copy, or what CXTransferTakeSpace gave when nothing was copied.
uint8_t* CXTransferAdd(CXTransferContext* ctx, const void* data, uint32_t n);
// Appends the checksum and returns the block's total length; a result larger
// than the capacity means the block did not fit.
uint32_t CXTransferEnd(CXTransferContext* ctx);
uint32_t CXTransferEndWithResult(CXTransferContext* ctx, int16_t status);

// 0x4321 plus the payload bytes, low 15 bits; kTransferNoChecksum when the
// buffer is null or its length word is below 6 or above `capacity`.
uint16_t CXTransferChecksum(const void* buffer, uint32_t capacity);

// The payload of a valid block and its length, or null with length 0.
const uint8_t* CXTransferValidate(const void* buffer, uint32_t capacity, uint32_t* payloadLength);
// As CXTransferValidate, then splits off the leading 32-bit request code.
const uint8_t* CXTransferValidateWithRequest(const void* buffer, uint32_t capacity,
                                             uint32_t* dataLength, uint32_t* requestCode);
// As CXTransferValidate, then splits off the leading 16-bit status; the
// status reads 0 whenever the result is null.
const uint8_t* CXTransferValidateWithResult(const void* buffer, uint32_t capacity,
                                            uint32_t* dataLength, int16_t* status);

// The length word; 0 for a null buffer.
uint32_t CXTransferBlockLength(const void* buffer);

}  // namespace cx

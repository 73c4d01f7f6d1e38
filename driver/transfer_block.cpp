#include "driver/transfer_block.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cstddef>
#include <cstring>
#include <limits>

#include "util/byte_order.h"

namespace cx {
namespace {

constexpr uint16_t kChecksumSeed = 0x4321;
constexpr uint16_t kChecksumMask = 0x7FFF;

// Only the low 15 bits of the sum matter, so the sum may wrap freely. Every
// request and reply is summed at least twice, so this is the hot loop of the
// driver link: SSE2 (part of every x86-64) sums 16 bytes per instruction.
uint32_t sum_bytes(const uint8_t* p, size_t n) {
  size_t i = 0;
  uint64_t sum = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  __m128i acc0 = zero;
  __m128i acc1 = zero;
  for (; i + 32 <= n; i += 32) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 16));
    acc0 = _mm_add_epi64(acc0, _mm_sad_epu8(a, zero));
    acc1 = _mm_add_epi64(acc1, _mm_sad_epu8(b, zero));
  }
  alignas(16) uint64_t lanes[2];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), _mm_add_epi64(acc0, acc1));
  sum = lanes[0] + lanes[1];
#else
  constexpr size_t kLanes = 16;
  uint16_t lanes[kLanes] = {};
  for (; i + kLanes <= n; i += kLanes) {
    for (size_t j = 0; j < kLanes; ++j) lanes[j] = static_cast<uint16_t>(lanes[j] + p[i + j]);
  }
  for (uint16_t lane : lanes) sum += lane;
#endif
  for (; i < n; ++i) sum += p[i];
  return static_cast<uint32_t>(sum);
}

template <typename T>
void set_if(T* out, T value) {
  if (out) *out = value;
}

}  // namespace

void CXTransferStart(CXTransferContext* ctx, void* buffer, uint32_t capacity) {
  if (!ctx) return;
  ctx->buffer = static_cast<uint8_t*>(buffer);
  ctx->capacity = capacity;
  ctx->used = 4;
  ctx->resultSlot = nullptr;
  if (ctx->buffer && capacity >= 4) store_be32(ctx->buffer, 4);
}

void CXTransferStartWithRequest(CXTransferContext* ctx, void* buffer, uint32_t capacity,
                                uint32_t requestCode) {
  if (!ctx) return;
  CXTransferStart(ctx, buffer, capacity);
  if (uint8_t* code = CXTransferTakeSpace(ctx, 4)) store_be32(code, requestCode);
}

void CXTransferStartWithResult(CXTransferContext* ctx, void* buffer, uint32_t capacity) {
  if (!ctx) return;
  CXTransferStart(ctx, buffer, capacity);
  ctx->resultSlot = CXTransferTakeSpace(ctx, 2);
  if (ctx->resultSlot) store_be16(ctx->resultSlot, 0);
}

uint8_t* CXTransferTakeSpace(CXTransferContext* ctx, uint32_t n) {
  if (!ctx) return nullptr;
  const uint32_t old = ctx->used;
  const uint64_t wanted = uint64_t{old} + n;
  // Saturate rather than wrap, so an overflowed block can never fit again.
  ctx->used = wanted > std::numeric_limits<uint32_t>::max() ? std::numeric_limits<uint32_t>::max()
                                                            : static_cast<uint32_t>(wanted);
  if (!ctx->buffer || wanted > ctx->capacity) return nullptr;
  store_be32(ctx->buffer, load_be32(ctx->buffer) + n);
  return ctx->buffer + old;
}

uint8_t* CXTransferAvailSpace(CXTransferContext* ctx, uint32_t* avail) {
  set_if<uint32_t>(avail, 0);
  if (!ctx || !ctx->buffer || ctx->used >= ctx->capacity) return nullptr;
  set_if(avail, ctx->capacity - ctx->used);
  return ctx->buffer + ctx->used;
}

uint8_t* CXTransferAdd(CXTransferContext* ctx, const void* data, uint32_t n) {
  uint8_t* space = CXTransferTakeSpace(ctx, n);
  if (!space || !data || n == 0) return space;
  std::memcpy(space, data, n);
  return space + n;
}

uint32_t CXTransferEnd(CXTransferContext* ctx) {
  if (!ctx) return 0;
  uint8_t* slot = CXTransferTakeSpace(ctx, 2);
  if (slot) store_be16(slot, CXTransferChecksum(ctx->buffer, ctx->capacity));
  return ctx->used;
}

uint32_t CXTransferEndWithResult(CXTransferContext* ctx, int16_t status) {
  if (!ctx) return 0;
  if (ctx->resultSlot) store_be16(ctx->resultSlot, static_cast<uint16_t>(status));
  return CXTransferEnd(ctx);
}

uint16_t CXTransferChecksum(const void* buffer, uint32_t capacity) {
  if (!buffer || capacity < kTransferOverhead) return kTransferNoChecksum;
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  const uint32_t length = load_be32(bytes);
  if (length > capacity || length < kTransferOverhead) return kTransferNoChecksum;
  const uint32_t sum = kChecksumSeed + sum_bytes(bytes + 4, length - kTransferOverhead);
  return static_cast<uint16_t>(sum & kChecksumMask);
}

const uint8_t* CXTransferValidate(const void* buffer, uint32_t capacity, uint32_t* payloadLength) {
  set_if<uint32_t>(payloadLength, 0);
  const uint16_t checksum = CXTransferChecksum(buffer, capacity);
  if (checksum == kTransferNoChecksum) return nullptr;
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  const uint32_t length = load_be32(bytes);
  if (load_be16(bytes + length - 2) != checksum) return nullptr;
  set_if(payloadLength, length - kTransferOverhead);
  return bytes + 4;
}

const uint8_t* CXTransferValidateWithRequest(const void* buffer, uint32_t capacity,
                                             uint32_t* dataLength, uint32_t* requestCode) {
  uint32_t length = 0;
  const uint8_t* payload = CXTransferValidate(buffer, capacity, &length);
  set_if<uint32_t>(dataLength, 0);
  if (!payload || length < 4) return nullptr;
  set_if(requestCode, load_be32(payload));
  set_if(dataLength, length - 4);
  return payload + 4;
}

const uint8_t* CXTransferValidateWithResult(const void* buffer, uint32_t capacity,
                                            uint32_t* dataLength, int16_t* status) {
  set_if<int16_t>(status, 0);
  uint32_t length = 0;
  const uint8_t* payload = CXTransferValidate(buffer, capacity, &length);
  set_if<uint32_t>(dataLength, 0);
  if (!payload || length < 2) return nullptr;
  set_if(status, static_cast<int16_t>(load_be16(payload)));
  set_if(dataLength, length - 2);
  return payload + 2;
}

uint32_t CXTransferBlockLength(const void* buffer) {
  return buffer ? load_be32(static_cast<const uint8_t*>(buffer)) : 0;
}

}  // namespace cx

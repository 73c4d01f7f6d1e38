// The agent's own memory blocks: pointer blocks ("buffers"), relocatable
// blocks ("globals") reached through a handle, and the raw helpers. A C-style
// interface, because callers keep these blocks in plain records.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cx {

// Flag bit of get_buffer and get_global: the block is zero-filled.
constexpr uint32_t kZeroFill = 0x2;

// A non-relocatable block of `size` bytes, or null. Other flag bits are
// callers' tags and are ignored.
void* get_buffer(std::size_t size, uint32_t flags);
void free_buffer(void* buffer);

// A relocatable block: *handle is its current address, which stays put while
// the block is locked.
using global_handle = uint8_t**;

// A block of size + 2 bytes whose first 16-bit word is 0, or null.
global_handle get_global(std::size_t size, uint32_t flags);
void free_global(global_handle handle);
// Gives the block size + 2 bytes (new bytes are not cleared) and returns the
// same handle. On failure, also for a locked block, the block is disposed and
// null is returned.
global_handle resize_global(global_handle handle, std::size_t size);
// Locks the block (locks nest) and returns its address; null for null.
uint8_t* lock_global(global_handle handle);
void unlock_global(global_handle handle);

// memmove: the ranges may overlap.
void far_copy_buffer(void* dest, const void* src, std::size_t count);
void far_fill(void* dest, uint8_t value, std::size_t count);
// Negative, 0 or positive as the first differing byte of a is below, equal
// to or above that of b.
int far_compare_buffers(const void* a, const void* b, std::size_t count);

// The allocator behind CXFlattenedData and other C-style blocks.
void* vcx_malloc(std::size_t size);
void vcx_free(void* block);

}  // namespace cx

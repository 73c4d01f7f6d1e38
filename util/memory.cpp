#include "util/memory.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace cx {
namespace {

// The handle is the address of `data`, the first member, so a handle and its
// record convert into each other.
struct GlobalBlock {
  uint8_t* data;
  uint32_t locks;
};

GlobalBlock* block_of(global_handle handle) {
  return reinterpret_cast<GlobalBlock*>(handle);
}

constexpr std::size_t kGlobalHeader = 2;

bool global_size(std::size_t size, std::size_t& total) {
  if (size > SIZE_MAX - kGlobalHeader) return false;
  total = size + kGlobalHeader;
  return true;
}

}  // namespace

void* get_buffer(std::size_t size, uint32_t flags) {
  // A zero-sized request still gets a distinct block, as NewPtr(0) does.
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p && (flags & kZeroFill)) std::memset(p, 0, size);
  return p;
}

void free_buffer(void* buffer) {
  std::free(buffer);
}

global_handle get_global(std::size_t size, uint32_t flags) {
  std::size_t total = 0;
  if (!global_size(size, total)) return nullptr;
  auto* block = new (std::nothrow) GlobalBlock{nullptr, 0};
  if (!block) return nullptr;
  block->data = static_cast<uint8_t*>(std::malloc(total));
  if (!block->data) {
    delete block;
    return nullptr;
  }
  if (flags & kZeroFill) std::memset(block->data, 0, total);
  block->data[0] = 0;
  block->data[1] = 0;
  return &block->data;
}

void free_global(global_handle handle) {
  if (!handle) return;
  GlobalBlock* block = block_of(handle);
  std::free(block->data);
  delete block;
}

global_handle resize_global(global_handle handle, std::size_t size) {
  if (!handle) return nullptr;
  GlobalBlock* block = block_of(handle);
  std::size_t total = 0;
  // A locked block must not move, and realloc may move it.
  if (block->locks != 0 || !global_size(size, total)) {
    free_global(handle);
    return nullptr;
  }
  void* grown = std::realloc(block->data, total);
  if (!grown) {
    free_global(handle);
    return nullptr;
  }
  block->data = static_cast<uint8_t*>(grown);
  return handle;
}

uint8_t* lock_global(global_handle handle) {
  if (!handle) return nullptr;
  GlobalBlock* block = block_of(handle);
  ++block->locks;
  return block->data;
}

void unlock_global(global_handle handle) {
  if (!handle) return;
  GlobalBlock* block = block_of(handle);
  if (block->locks > 0) --block->locks;
}

void far_copy_buffer(void* dest, const void* src, std::size_t count) {
  if (!dest || !src || count == 0) return;
  std::memmove(dest, src, count);
}

void far_fill(void* dest, uint8_t value, std::size_t count) {
  if (!dest || count == 0) return;
  std::memset(dest, value, count);
}

int far_compare_buffers(const void* a, const void* b, std::size_t count) {
  if (count == 0 || a == b) return 0;
  if (!a || !b) return a ? 1 : -1;
  return std::memcmp(a, b, count);
}

void* vcx_malloc(std::size_t size) {
  return std::malloc(size == 0 ? 1 : size);
}

void vcx_free(void* block) {
  std::free(block);
}

}  // namespace cx

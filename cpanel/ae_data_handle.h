// A cleared handle block that the event handlers fill from an event or the
// driver; it is disposed of on every way out of the handler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "util/memory.h"

namespace cx {

class ae_data_handle {
 public:
  ae_data_handle() = default;

  // A zero-filled block of `size` bytes; is_null() when memory ran out. The
  // agent has no separate temporary heap, so there is nothing to fall back to.
  static ae_data_handle make_clear(size_t size) {
    ae_data_handle h;
    h.handle_.reset(get_global(size, kZeroFill));
    if (h.handle_) h.size_ = size;
    return h;
  }

  bool is_null() const { return handle_ == nullptr; }
  uint8_t* bytes() const { return handle_ ? *handle_ : nullptr; }
  size_t size() const { return size_; }

 private:
  struct disposer {
    void operator()(global_handle h) const { free_global(h); }
  };
  std::unique_ptr<uint8_t*, disposer> handle_;
  size_t size_ = 0;
};

}  // namespace cx

// A buffer the driver shares with one client: a sealed memfd (the client can
// map it but never shrink it under the driver) and the driver's own mapping.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/linux/user_client_fd.h"

namespace cx::refdriver {

class SharedBuffer {
 public:
  // Zero-filled; null when the system refuses the memory.
  static std::unique_ptr<SharedBuffer> create(std::size_t size);
  ~SharedBuffer();
  SharedBuffer(const SharedBuffer&) = delete;
  SharedBuffer& operator=(const SharedBuffer&) = delete;

  int fd() const { return fd_.get(); }
  std::span<uint8_t> bytes() const { return {data_, size_}; }

 private:
  SharedBuffer(UniqueFd fd, uint8_t* data, std::size_t size)
      : fd_(std::move(fd)), data_(data), size_(size) {}

  UniqueFd fd_;
  uint8_t* data_;
  std::size_t size_;
};

}  // namespace cx::refdriver

#include "refdriver/shared_buffer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace cx::refdriver {

std::unique_ptr<SharedBuffer> SharedBuffer::create(std::size_t size) {
  UniqueFd fd(memfd_create("corvex-uc-buffer", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!fd || ftruncate(fd.get(), static_cast<off_t>(size)) != 0) return nullptr;
  // A client holding the descriptor could otherwise truncate it and make the
  // driver's next access to its own mapping fault.
  if (fcntl(fd.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) return nullptr;
  void* data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
  if (data == MAP_FAILED) return nullptr;
  return std::unique_ptr<SharedBuffer>(
      new SharedBuffer(std::move(fd), static_cast<uint8_t*>(data), size));
}

SharedBuffer::~SharedBuffer() {
  munmap(data_, size_);
}

}  // namespace cx::refdriver

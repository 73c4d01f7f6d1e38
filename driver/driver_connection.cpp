#include "driver/driver_connection.h"

#include <cstdio>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace cx {

std::unique_ptr<platform::UserClientConnection> vcx_connect;
bool driver_connected = false;
std::string vcx_service;
shared_memory_slot in_shmem;
shared_memory_slot out_shmem;

namespace {

driver_gone_handler gone_handler = nullptr;
// Set once a call found the driver gone: there is nobody left to release
// the buffers with.
bool driver_gone = false;

// A call on a closed connection fails the way IOKit fails a null handle.
platform::kern_return_t call_scalar(uint32_t selector, int64_t in, int64_t& out) {
  if (!vcx_connect) return platform::kIOReturnNoDevice;
  const int64_t inputs[] = {in};
  return note_driver_call(vcx_connect->call_scalar(selector, inputs, std::span<int64_t>(&out, 1)));
}

}  // namespace

void set_driver_gone_handler(driver_gone_handler handler) {
  gone_handler = handler;
}

platform::kern_return_t note_driver_call(platform::kern_return_t kr) {
  if (kr == platform::kIOReturnNoDevice && vcx_connect) {
    driver_gone = true;
    if (gone_handler) gone_handler();
  }
  return kr;
}

int ConnectToDriver() {
  if (driver_connected) return 1;

  platform::UserClientService& service = platform::user_client_service();
  std::vector<std::string> services;
  if (service.matching_services(kDriverClassName, services) != platform::kIOReturnSuccess ||
      services.empty()) {
    std::fprintf(stderr, "Service '%s' not found\n", kDriverClassName);
    return 0;
  }
  if (service.open(services.front(), vcx_connect) != platform::kIOReturnSuccess || !vcx_connect) {
    vcx_connect.reset();
    std::fprintf(stderr, "Unable to open service '%s'\n", kDriverClassName);
    return 0;
  }

  driver_connected = true;
  vcx_service = services.front();
  in_shmem = newSharedMemory(kSharedMemoryStep);
  out_shmem = newSharedMemory(kSharedMemoryStep);
  if (!in_shmem || !out_shmem) {
    std::fprintf(stderr, "Unable to allocate shared driver memory areas\n");
    DisconnectFromDriver();
    return 0;
  }
  return 1;
}

void DisconnectFromDriver() {
  if (!driver_connected) return;
  if (vcx_connect) {
    if (driver_gone) {
      in_shmem.reset();
      out_shmem.reset();
    }
    if (in_shmem) releaseSharedMemory(std::move(in_shmem));
    if (out_shmem) releaseSharedMemory(std::move(out_shmem));
    vcx_connect.reset();
  }
  vcx_service.clear();
  driver_connected = false;
  driver_gone = false;
}

shared_memory_slot newSharedMemory(uint32_t size) {
  shared_memory_slot rec(new (std::nothrow) cx_driver_shared_memory);
  if (!rec) {
    std::fprintf(stderr, "Unable to allocate shared memory structure\n");
    return nullptr;
  }
  rec->size = size;

  int64_t memory_type = 0;
  platform::kern_return_t kr = call_scalar(driver_method::new_shared_memory, size, memory_type);
  if (kr != platform::kIOReturnSuccess) {
    std::fprintf(stderr, "kCXNewSharedMemory failed with result = %d\n", kr);
    return nullptr;
  }
  rec->memoryType = static_cast<uint32_t>(memory_type);

  // The driver keeps its buffer when mapping fails: it goes when the
  // connection closes.
  kr = note_driver_call(vcx_connect->map_memory(rec->memoryType, rec->mapping));
  if (kr != platform::kIOReturnSuccess) {
    std::fprintf(stderr, "IOConnectMapMemory() failed with result = %d\n", kr);
    return nullptr;
  }
  if (!rec->mapping || !rec->mapping->address()) {
    std::fprintf(stderr, "IOConnectMapMemory() failed to initialize memory\n");
    return nullptr;
  }
  rec->address = rec->mapping->address();
  rec->size = static_cast<uint32_t>(rec->mapping->size());
  return rec;
}

void releaseSharedMemory(shared_memory_slot rec) {
  if (!rec) return;
  platform::kern_return_t kr =
      vcx_connect ? vcx_connect->unmap_memory(rec->memoryType, std::move(rec->mapping))
                  : platform::kIOReturnNoDevice;
  if (kr != platform::kIOReturnSuccess) {
    std::fprintf(stderr, "CX - IOConnectUnmapMemory() failed with result = %x\n",
                 static_cast<unsigned>(kr));
  }
  int64_t memory_type = rec->memoryType;
  kr = call_scalar(driver_method::release_shared_memory, rec->memoryType, memory_type);
  if (kr != platform::kIOReturnSuccess) {
    std::fprintf(stderr, "CX - kMyReleaseSharedMemory failed with result = %d\n", kr);
  }
}

int resizeSharedMemory(shared_memory_slot* slot, uint64_t needed) {
  if (!slot) return 0;
  uint64_t size = *slot ? (*slot)->size : kSharedMemoryStep;
  if (size < needed) {
    size += (needed - size + kSharedMemoryStep - 1) / kSharedMemoryStep * kSharedMemoryStep;
  }
  if (size > std::numeric_limits<uint32_t>::max()) return 0;

  shared_memory_slot grown = newSharedMemory(static_cast<uint32_t>(size));
  if (!grown) return 0;
  releaseSharedMemory(std::exchange(*slot, std::move(grown)));
  return 1;
}

int ResizeInputSharedMemory(uint64_t needed) {
  return resizeSharedMemory(&in_shmem, needed);
}

int ResizeOutputSharedMemory(uint64_t needed) {
  return resizeSharedMemory(&out_shmem, needed);
}

}  // namespace cx

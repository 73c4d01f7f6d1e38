#include "util/open_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "util/folder_ids.h"
#include "util/posix_io.h"
#include "util/ref_table.h"

namespace cx {
namespace {

bool size_of(int fd, off_t& size) {
  struct stat st {};
  if (fd < 0 || fstat(fd, &st) != 0) return false;
  size = st.st_size;
  return true;
}

// Sizes and positions beyond 31 bits cannot be reported.
int32_t as_int32(off_t value) {
  return value <= INT32_MAX ? static_cast<int32_t>(value) : -1;
}

}  // namespace

int16_t open_file(const char* name, const sfilepath* path, int8_t permission) {
  if (!path) return -1;
  std::string file;
  if (path->sysFolder) {
    sfilepath* found = search_file_in_system_folder(name, path);
    const bool named = found && entry_path(name, found, file);
    release_filepath(found);
    if (!named) return -1;
  } else if (!entry_path(name, path, file)) {
    return -1;
  }
  return open_ref(file, permission);
}

bool close_file(int16_t ref) {
  return close_ref(ref);
}

int32_t read_file(int16_t ref, void* buffer, int32_t count) {
  const int fd = descriptor_of(ref);
  if (fd < 0 || !buffer || count < 0) return -1;
  return static_cast<int32_t>(read_fully(fd, buffer, static_cast<std::size_t>(count)));
}

int32_t write_file(int16_t ref, const void* buffer, int32_t count) {
  const int fd = descriptor_of(ref);
  if (fd < 0 || !buffer || count < 0) return -1;
  return static_cast<int32_t>(write_fully(fd, buffer, static_cast<std::size_t>(count)));
}

bool seek_file(int16_t ref, int32_t offset, int16_t mode) {
  const int fd = descriptor_of(ref);
  off_t size = 0;
  if (!size_of(fd, size)) return false;
  off_t base = 0;
  switch (mode) {
    case kFromStart:
      break;
    case kFromEnd:
      base = size;
      break;
    case kFromMark:
      base = lseek(fd, 0, SEEK_CUR);
      if (base < 0) return false;
      break;
    default:
      return false;
  }
  const off_t target = base + offset;
  if (target < 0 || target > size) return false;
  return lseek(fd, target, SEEK_SET) == target;
}

int32_t get_file_position(int16_t ref) {
  const int fd = descriptor_of(ref);
  if (fd < 0) return -1;
  const off_t position = lseek(fd, 0, SEEK_CUR);
  return position < 0 ? -1 : as_int32(position);
}

int32_t get_file_size(int16_t ref) {
  off_t size = 0;
  return size_of(descriptor_of(ref), size) ? as_int32(size) : -1;
}

bool set_file_size(int16_t ref, int32_t size) {
  const int fd = descriptor_of(ref);
  if (fd < 0 || size < 0 || ftruncate(fd, size) != 0) return false;
  const off_t position = lseek(fd, 0, SEEK_CUR);
  return position >= 0 && (position <= size || lseek(fd, size, SEEK_SET) == size);
}

}  // namespace cx

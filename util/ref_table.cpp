#include "util/ref_table.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "util/open_files.h"
#include "util/posix_io.h"

namespace cx {
namespace {

// Slot i holds the descriptor of reference number i + 1, or -1.
std::array<int, kMaxOpenFiles>& slots() {
  static std::array<int, kMaxOpenFiles> table = [] {
    std::array<int, kMaxOpenFiles> t{};
    t.fill(-1);
    return t;
  }();
  return table;
}

int free_slot() {
  const auto& table = slots();
  for (int i = 0; i < kMaxOpenFiles; ++i) {
    if (table[i] < 0) return i;
  }
  return -1;
}

int open_flags(int8_t permission, bool& may_fall_back) {
  may_fall_back = false;
  switch (permission) {
    case kCurrentPermission:
      may_fall_back = true;
      return O_RDWR;
    case kReadPermission:
      return O_RDONLY;
    case kWritePermission:
      return O_WRONLY;
    case kReadWritePermission:
      return O_RDWR;
    default:
      return -1;
  }
}

// Opens for writing only when the file is not locked: the permission bits
// alone do not stop a privileged process.
int open_checked(const std::string& path, int flags) {
  const int fd = open_regular(path, flags);
  if (fd < 0 || (flags & O_ACCMODE) == O_RDONLY) return fd;
  struct stat st {};
  if (fstat(fd, &st) == 0 && !is_locked_mode(st.st_mode)) return fd;
  close(fd);
  return -1;
}

}  // namespace

int16_t open_ref(const std::string& path, int8_t permission) {
  bool may_fall_back = false;
  const int flags = open_flags(permission, may_fall_back);
  const int slot = free_slot();
  if (flags < 0 || slot < 0) return -1;
  int fd = open_checked(path, flags);
  if (fd < 0 && may_fall_back) fd = open_checked(path, O_RDONLY);
  if (fd < 0) return -1;
  slots()[slot] = fd;
  return static_cast<int16_t>(slot + 1);
}

int descriptor_of(int16_t ref) {
  if (ref < 1 || ref > kMaxOpenFiles) return -1;
  return slots()[ref - 1];
}

bool close_ref(int16_t ref) {
  const int fd = descriptor_of(ref);
  if (fd < 0) return false;
  slots()[ref - 1] = -1;
  return close(fd) == 0;
}

}  // namespace cx

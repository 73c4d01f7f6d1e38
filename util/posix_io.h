// The POSIX calls under the file functions. Every file this layer opens is
// opened without following a symbolic link and must be a regular file, so a
// link planted in a shared folder cannot redirect a write.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace cx {

// open(2) with O_NOFOLLOW and O_CLOEXEC added; -1 unless a regular file.
int open_regular(const std::string& path, int flags, mode_t mode = 0);
// True when `path` itself (not a link's target) is a regular file.
bool is_regular_file(const std::string& path, mode_t* mode = nullptr);
// A locked file is one without any write permission bit.
constexpr bool is_locked_mode(mode_t mode) {
  return (mode & 0222) == 0;
}

// Whole transfers, retried on EINTR and partial counts: bytes moved, which is
// short only at end of file (read); -1 on error.
long read_fully(int fd, void* buffer, std::size_t count);
long write_fully(int fd, const void* buffer, std::size_t count);

}  // namespace cx

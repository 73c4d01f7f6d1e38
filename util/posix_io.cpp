#include "util/posix_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace cx {

int open_regular(const std::string& path, int flags, mode_t mode) {
  // O_NONBLOCK keeps a FIFO in place of the file from blocking the open; it
  // has no effect on a regular file.
  const int fd = open(path.c_str(), flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, mode);
  if (fd < 0) return -1;
  struct stat st {};
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    return -1;
  }
  return fd;
}

bool is_regular_file(const std::string& path, mode_t* mode) {
  struct stat st {};
  if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  if (mode) *mode = st.st_mode;
  return true;
}

long read_fully(int fd, void* buffer, std::size_t count) {
  if (count > LONG_MAX) return -1;
  auto* p = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t n = read(fd, p + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  return static_cast<long>(done);
}

long write_fully(int fd, const void* buffer, std::size_t count) {
  if (count > LONG_MAX) return -1;
  const auto* p = static_cast<const char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t n = write(fd, p + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return n < 0 && done == 0 ? -1 : static_cast<long>(done);
    done += static_cast<std::size_t>(n);
  }
  return static_cast<long>(done);
}

}  // namespace cx

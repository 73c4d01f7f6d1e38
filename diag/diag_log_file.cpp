#include "diag/diag_log_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "diag/diag_state.h"
#include "platform/folders.h"

namespace cx {

void open_diagwin_file() {
  if (diaginfo.file_open) return;
  const std::string path = platform::map_mac_path(diaginfo.file_name);
  // Without append the file is not truncated: new lines overwrite it from
  // the start and older, longer content stays behind them.
  int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
  if (diaginfo.append) flags |= O_APPEND;
  const int fd = ::open(path.c_str(), flags, 0644);
  if (fd < 0) return;
  // The default folder is shared by all users: refuse anything planted there
  // that is not a plain file.
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return;
  }
  diaginfo.fd = fd;
  diaginfo.file_open = 1;
}

void write_diagwin_file(const char* data, size_t length) {
  if (!diaginfo.file_open) return;
  while (length > 0) {
    const ssize_t n = ::write(diaginfo.fd, data, length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;  // a failing log is silent
    data += n;
    length -= static_cast<size_t>(n);
  }
}

void close_diagwin_file() {
  if (!diaginfo.file_open) return;
  ::close(diaginfo.fd);
  diaginfo.fd = 0;
  diaginfo.file_open = 0;
}

void close_diagnostic_window() {
  ensure_diag_info();
  diaginfo.active = 0;
  close_diagwin_file();
}

}  // namespace cx

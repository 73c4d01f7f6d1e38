#include "diag/diag_log_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "diag/diag_state.h"
#include "platform/folders.h"

namespace cx {
namespace {

// Once, not for every line that tries again.
bool told_why = false;

void refuse_log_file(const std::string& path, const char* why) {
  if (told_why) return;
  told_why = true;
  std::fprintf(stderr, "Corvex Background: no diagnostic log is written: %s %s.\n", path.c_str(),
               why);
}

}  // namespace

void open_diagwin_file() {
  if (diaginfo.file_open) return;
  const std::string path = platform::map_mac_path(diaginfo.file_name);
  // Without append the file is not truncated: new lines overwrite it from
  // the start and older, longer content stays behind them.
  int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
  if (diaginfo.append) flags |= O_APPEND;
  const int fd = ::open(path.c_str(), flags, 0644);
  if (fd < 0) {
    if (errno == ELOOP) refuse_log_file(path, "is a symbolic link");
    return;
  }
  // The default folder is shared by all users: refuse anything planted there
  // that is not a plain file of this user, who would otherwise write their
  // log (user IDs included) into someone else's file.
  struct stat st {};
  const char* why = nullptr;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    why = "is not a regular file";
  } else if (st.st_uid != ::geteuid()) {
    why = "belongs to another user";
  }
  if (why != nullptr) {
    ::close(fd);
    refuse_log_file(path, why);
    return;
  }
  told_why = false;
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

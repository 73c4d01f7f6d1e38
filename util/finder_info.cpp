#include "util/finder_info.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include "util/folder_ids.h"
#include "util/posix_io.h"
#include "util/sidecar_files.h"

namespace cx {
namespace {

bool xattrs_unsupported(int error) {
  return error == ENOTSUP || error == EOPNOTSUPP;
}

}  // namespace

bool read_finder_info_sidecar(const std::string& sidecar, FinderInfo& info) {
  const int fd = open_regular(sidecar, O_RDONLY);
  if (fd < 0) return false;
  FinderInfo read_info{};
  const long n = read_fully(fd, read_info.data(), read_info.size());
  close(fd);
  if (n != static_cast<long>(read_info.size())) return false;
  info = read_info;
  return true;
}

bool write_finder_info_sidecar(const std::string& sidecar, const FinderInfo& info) {
  const int fd = open_regular(sidecar, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (fd < 0) return false;
  const long n = write_fully(fd, info.data(), info.size());
  return close(fd) == 0 && n == static_cast<long>(info.size());
}

bool read_finder_info(const char* name, const sfilepath* path, FinderInfo& info) {
  std::string file;
  if (!entry_path(name, path, file) || !is_regular_file(file)) return false;
  FinderInfo stored{};
  const ssize_t n = lgetxattr(file.c_str(), kFinderInfoAttribute, stored.data(), stored.size());
  if (n == static_cast<ssize_t>(stored.size())) {
    info = stored;
    return true;
  }
  if (n >= 0 || (errno != ENODATA && !xattrs_unsupported(errno))) return false;
  std::string sidecar;
  if (sidecar_path(name, path, Sidecar::FinderData, sidecar) &&
      read_finder_info_sidecar(sidecar, info)) {
    return true;
  }
  info.fill(0);
  return true;
}

bool write_finder_info(const char* name, const sfilepath* path, const FinderInfo& info) {
  std::string file;
  if (!entry_path(name, path, file) || !is_regular_file(file)) return false;
  if (lsetxattr(file.c_str(), kFinderInfoAttribute, info.data(), info.size(), 0) == 0) return true;
  if (!xattrs_unsupported(errno)) return false;
  std::string sidecar;
  return sidecar_path(name, path, Sidecar::FinderData, sidecar) &&
         write_finder_info_sidecar(sidecar, info);
}

}  // namespace cx

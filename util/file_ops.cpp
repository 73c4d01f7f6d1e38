#include "util/file_ops.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "util/file_info.h"
#include "util/folder_ids.h"
#include "util/posix_io.h"
#include "util/sidecar_files.h"

namespace cx {
namespace {

bool entry_exists(const std::string& path) {
  struct stat st {};
  return lstat(path.c_str(), &st) == 0;
}

// rename(2) that, like the File Manager, never replaces an existing entry.
bool rename_no_replace(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // The file system cannot do it atomically.
  return !entry_exists(to) && std::rename(from.c_str(), to.c_str()) == 0;
}

bool relocate(const char* name, const sfilepath* from, const char* new_name, const sfilepath* to) {
  std::string source;
  std::string dest;
  if (!entry_path(name, from, source) || !entry_path(new_name, to, dest)) return false;
  if (!is_regular_file(source) || !rename_no_replace(source, dest)) return false;
  return move_sidecars(name, from, new_name, to);
}

bool change_mode(const char* name, const sfilepath* path, bool writable) {
  std::string file;
  mode_t mode = 0;
  if (!entry_path(name, path, file) || !is_regular_file(file, &mode)) return false;
  const mode_t wanted = (writable ? (mode | S_IWUSR) : (mode & ~mode_t{0222})) & 07777;
  if (fchmodat(AT_FDCWD, file.c_str(), wanted, AT_SYMLINK_NOFOLLOW) == 0) return true;
  // Without /proc the no-follow form is unavailable; the entry was just seen
  // to be a regular file.
  return (errno == ENOTSUP || errno == EOPNOTSUPP) && chmod(file.c_str(), wanted) == 0;
}

}  // namespace

bool file_exists(const char* name, const sfilepath* path) {
  std::string file;
  return entry_path(name, path, file) && is_regular_file(file);
}

bool folder_exists(const char* name, const sfilepath* path) {
  std::string dir;
  struct stat st {};
  return entry_path(name, path, dir) && stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool create_file(const char* name, const sfilepath* path, uint32_t type, uint32_t creator) {
  std::string file;
  if (!entry_path(name, path, file)) return false;
  if (entry_exists(file) && !delete_file(name, path)) return false;
  // A new file must not inherit a stale fork or Finder info.
  if (!remove_sidecars(name, path)) return false;
  const int fd = open_regular(file, O_WRONLY | O_CREAT | O_EXCL, 0666);
  if (fd < 0 || close(fd) != 0) return false;
  const sfileinfo info{type, creator, 0};
  return set_file_info(name, path, &info);
}

bool delete_file(const char* name, const sfilepath* path) {
  std::string file;
  mode_t mode = 0;
  if (!entry_path(name, path, file) || !is_regular_file(file, &mode)) return false;
  if (is_locked_mode(mode) || unlink(file.c_str()) != 0) return false;
  return remove_sidecars(name, path);
}

bool rename_file(const char* name, const sfilepath* path, const char* new_name) {
  return relocate(name, path, new_name, path);
}

bool move_file(const char* name, const sfilepath* from, const sfilepath* to) {
  return relocate(name, from, name, to);
}

bool is_readonly(const char* name, const sfilepath* path) {
  std::string file;
  mode_t mode = 0;
  return entry_path(name, path, file) && is_regular_file(file, &mode) && is_locked_mode(mode);
}

bool make_file_readonly(const char* name, const sfilepath* path) {
  return change_mode(name, path, false);
}

bool make_file_readwrite(const char* name, const sfilepath* path) {
  return change_mode(name, path, true);
}

}  // namespace cx

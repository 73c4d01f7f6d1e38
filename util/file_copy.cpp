#include "util/file_copy.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "util/file_info.h"
#include "util/file_ops.h"
#include "util/folder_ids.h"
#include "util/memory.h"
#include "util/open_files.h"
#include "util/ref_table.h"
#include "util/resource_fork.h"
#include "util/sidecar_files.h"

namespace cx {
namespace {

bool same_file(const std::string& a, const std::string& b) {
  struct stat sa {};
  struct stat sb {};
  if (a == b) return true;
  return lstat(a.c_str(), &sa) == 0 && lstat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
         sa.st_ino == sb.st_ino;
}

bool copy_fork(const std::string& from, const std::string& to) {
  const int16_t source = open_ref(from, kReadPermission);
  const int16_t dest = open_ref(to, kWritePermission);
  if (source < 0 || dest < 0) {
    close_ref(source);
    close_ref(dest);
    return false;
  }
  if (!quick_copy_file(source, dest)) return copy_and_close(source, dest);
  const bool source_closed = close_ref(source);
  const bool dest_closed = close_ref(dest);
  return source_closed && dest_closed;
}

// Everything after the destination was created.
bool fill_copy(const char* source_name, const sfilepath* source_path, const char* dest_name,
               const sfilepath* dest_path, const sfileinfo& info) {
  std::string from;
  std::string to;
  if (!entry_path(source_name, source_path, from) || !entry_path(dest_name, dest_path, to) ||
      !set_finder_attributes(dest_name, dest_path,
                             static_cast<uint16_t>(info.finderFlags & ~kFinderInited)) ||
      !copy_fork(from, to)) {
    return false;
  }
  std::string source_fork;
  std::string dest_fork;
  if (sidecar_path(source_name, source_path, Sidecar::ResourceFork, source_fork) &&
      access(source_fork.c_str(), F_OK) == 0) {
    if (!create_rsrc_fork(dest_name, dest_path) ||
        !sidecar_path(dest_name, dest_path, Sidecar::ResourceFork, dest_fork) ||
        !copy_fork(source_fork, dest_fork)) {
      return false;
    }
  }
  return !is_readonly(source_name, source_path) || make_file_readonly(dest_name, dest_path);
}

}  // namespace

bool copy_file(const char* source_name, const sfilepath* source_path, const char* dest_name,
               const sfilepath* dest_path) {
  std::string from;
  std::string to;
  if (!entry_path(source_name, source_path, from) || !entry_path(dest_name, dest_path, to) ||
      !file_exists(source_name, source_path) || same_file(from, to)) {
    return false;
  }
  sfileinfo info{};
  if (!get_file_info(source_name, source_path, &info) ||
      !create_file(dest_name, dest_path, info.fileType, info.fileCreator)) {
    return false;
  }
  if (fill_copy(source_name, source_path, dest_name, dest_path, info)) return true;
  delete_file(dest_name, dest_path);
  return false;
}

bool quick_copy_file(int16_t source, int16_t dest) {
  const int in = descriptor_of(source);
  const int out = descriptor_of(dest);
  if (in < 0 || out < 0) return false;
  for (;;) {
    const ssize_t n = copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
    if (n == 0) return true;
    if (n < 0 && errno != EINTR) return false;
  }
}

bool copy_and_close(int16_t source, int16_t dest) {
  void* buffer = get_buffer(kCopyChunkSize, 0);
  bool ok = buffer != nullptr;
  while (ok) {
    const int32_t n = read_file(source, buffer, kCopyChunkSize);
    if (n <= 0) {
      ok = n == 0;
      break;
    }
    ok = write_file(dest, buffer, n) == n;
  }
  free_buffer(buffer);
  const bool source_closed = close_file(source);
  const bool dest_closed = close_file(dest);
  return ok && source_closed && dest_closed;
}

}  // namespace cx

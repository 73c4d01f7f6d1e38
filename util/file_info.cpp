#include "util/file_info.h"

#include <string>

#include "util/byte_order.h"
#include "util/finder_info.h"
#include "util/folder_ids.h"
#include "util/memory.h"
#include "util/posix_io.h"

namespace cx {
namespace {

bool unlocked_file(const char* name, const sfilepath* path) {
  std::string file;
  mode_t mode = 0;
  return entry_path(name, path, file) && is_regular_file(file, &mode) && !is_locked_mode(mode);
}

}  // namespace

sfileinfo* make_fileinfo(uint32_t type, uint32_t creator, uint32_t flags) {
  auto* info = static_cast<sfileinfo*>(get_buffer(sizeof(sfileinfo), kZeroFill));
  if (info) *info = sfileinfo{type, creator, flags};
  return info;
}

void release_fileinfo(sfileinfo* info) {
  free_buffer(info);
}

bool get_file_info(const char* name, const sfilepath* path, sfileinfo* info) {
  FinderInfo stored{};
  if (!info || !read_finder_info(name, path, stored)) return false;
  info->fileType = load_be32(stored.data() + kFinderTypeOffset);
  info->fileCreator = load_be32(stored.data() + kFinderCreatorOffset);
  info->finderFlags = load_be16(stored.data() + kFinderFlagsOffset);
  return true;
}

bool set_file_info(const char* name, const sfilepath* path, const sfileinfo* info) {
  FinderInfo stored{};
  if (!info || !unlocked_file(name, path) || !read_finder_info(name, path, stored)) return false;
  store_be32(stored.data() + kFinderTypeOffset, info->fileType);
  store_be32(stored.data() + kFinderCreatorOffset, info->fileCreator);
  store_be16(stored.data() + kFinderFlagsOffset, static_cast<uint16_t>(info->finderFlags));
  return write_finder_info(name, path, stored);
}

bool get_finder_attributes(const char* name, const sfilepath* path, uint16_t* attributes) {
  FinderInfo stored{};
  if (!attributes || !read_finder_info(name, path, stored)) return false;
  *attributes = load_be16(stored.data() + kFinderFlagsOffset);
  return true;
}

bool set_finder_attributes(const char* name, const sfilepath* path, uint16_t attributes) {
  FinderInfo stored{};
  if (!unlocked_file(name, path) || !read_finder_info(name, path, stored)) return false;
  store_be16(stored.data() + kFinderFlagsOffset, attributes);
  return write_finder_info(name, path, stored);
}

}  // namespace cx

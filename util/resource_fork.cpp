#include "util/resource_fork.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "util/byte_order.h"
#include "util/folder_ids.h"
#include "util/open_files.h"
#include "util/pascal_string.h"
#include "util/posix_io.h"
#include "util/ref_table.h"
#include "util/sidecar_files.h"

namespace cx {
namespace {

// Resource file layout: a 16-byte header, reserved space up to the data at
// 256, the data (each resource a 32-bit length and its bytes), then the map.
constexpr uint32_t kResourceDataOffset = 256;
constexpr uint32_t kResourceHeaderSize = 16;
constexpr uint32_t kStringResourceType = 0x53545220;  // 'STR '
// The map of one type with one unnamed resource: header copy, next-map
// handle, file reference, attributes, type and name list offsets (28), the
// type list (count word + one 8-byte entry) and one 12-byte reference.
constexpr uint16_t kMapTypeListOffset = 28;
constexpr uint16_t kTypeListSize = 2 + 8;
constexpr uint16_t kReferenceSize = 12;
constexpr uint16_t kMapSize = kMapTypeListOffset + kTypeListSize + kReferenceSize;

std::vector<uint8_t> single_string_fork(int16_t id, const char* text) {
  unsigned char pstr[kPascalStringSize];
  cstr_to_pstr(pstr, text);
  const uint32_t data_size = 4 + 1 + uint32_t{pstr[0]};
  const uint32_t map_offset = kResourceDataOffset + data_size;
  std::vector<uint8_t> fork(map_offset + kMapSize, 0);

  uint8_t* header = fork.data();
  store_be32(header, kResourceDataOffset);
  store_be32(header + 4, map_offset);
  store_be32(header + 8, data_size);
  store_be32(header + 12, kMapSize);

  uint8_t* data = fork.data() + kResourceDataOffset;
  store_be32(data, data_size - 4);
  for (uint32_t i = 0; i <= pstr[0]; ++i) data[4 + i] = pstr[i];

  uint8_t* map = fork.data() + map_offset;
  for (uint32_t i = 0; i < kResourceHeaderSize; ++i) map[i] = header[i];
  store_be16(map + 24, kMapTypeListOffset);
  store_be16(map + 26, kMapSize);  // the name list is empty and starts at the end
  uint8_t* types = map + kMapTypeListOffset;
  store_be16(types, 0);  // number of types - 1
  store_be32(types + 2, kStringResourceType);
  store_be16(types + 6, 0);  // number of resources of the type - 1
  store_be16(types + 8, kTypeListSize);
  uint8_t* reference = types + kTypeListSize;
  store_be16(reference, static_cast<uint16_t>(id));
  store_be16(reference + 2, 0xFFFF);  // no name
  // Attributes 0, data offset 0 (24 bits) and the handle slot stay zero.
  return fork;
}

bool file_state(const char* name, const sfilepath* path, bool& locked) {
  std::string file;
  mode_t mode = 0;
  if (!entry_path(name, path, file) || !is_regular_file(file, &mode)) return false;
  locked = is_locked_mode(mode);
  return true;
}

}  // namespace

int16_t open_rsrc_fork(const char* name, const sfilepath* path, int8_t permission) {
  bool locked = false;
  std::string fork;
  if (!file_state(name, path, locked) || !sidecar_path(name, path, Sidecar::ResourceFork, fork)) {
    return -1;
  }
  // The fork's own permission bits are not its lock: the file's are.
  if (locked && permission == kCurrentPermission) permission = kReadPermission;
  if (locked && permission != kReadPermission) return -1;
  return open_ref(fork, permission);
}

bool create_rsrc_fork(const char* name, const sfilepath* path) {
  bool locked = false;
  std::string fork;
  if (!file_state(name, path, locked) || locked ||
      !sidecar_path(name, path, Sidecar::ResourceFork, fork)) {
    return false;
  }
  const int fd = open_regular(fork, O_WRONLY | O_CREAT, 0666);
  return fd >= 0 && close(fd) == 0;
}

bool close_rsrc_fork(int16_t ref) {
  return close_ref(ref);
}

bool add_rsrc_string_to_new_file(const char* name, const sfilepath* path, int16_t id,
                                 const char* text) {
  if (!create_rsrc_fork(name, path)) return false;
  const int16_t ref = open_rsrc_fork(name, path, kReadWritePermission);
  if (ref < 0) return false;
  const std::vector<uint8_t> fork = single_string_fork(id, text);
  const auto size = static_cast<int32_t>(fork.size());
  const bool ok = get_file_size(ref) == 0 && write_file(ref, fork.data(), size) == size;
  return close_rsrc_fork(ref) && ok;
}

}  // namespace cx

// The File Manager's FSSpec record: volume, parent directory and a
// name of up to 63 bytes as a Pascal string.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/file_path.h"

namespace cx {

struct FSSpec {
  int16_t vRefNum;
  int32_t parID;
  unsigned char name[64];
};

// Room for get_fss_name's C string, terminator included.
constexpr std::size_t kFSSpecNameSize = 64;

// The file need not exist, but its folder must.
bool make_fsspec(const char* name, const sfilepath* path, FSSpec* fss);
// The folder an FSSpec names, sysFolder 0.
bool get_fss_filepath(const FSSpec* fss, sfilepath* path);
// The name as a C string into kFSSpecNameSize bytes.
bool get_fss_name(const FSSpec* fss, char* name);

}  // namespace cx

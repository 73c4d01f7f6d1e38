// A file's type, creator and Finder flags.
#pragma once

#include <cstdint>

#include "util/file_path.h"

namespace cx {

// The Finder's "has been inited" flag, cleared on copies so that the Finder
// places the new file afresh.
constexpr uint16_t kFinderInited = 0x0100;

struct sfileinfo {
  uint32_t fileType;
  uint32_t fileCreator;
  uint32_t finderFlags;  // the low 16 bits are the Finder flags
};

// A new record (get_buffer) holding the three values, or null.
sfileinfo* make_fileinfo(uint32_t type, uint32_t creator, uint32_t flags);
void release_fileinfo(sfileinfo* info);

bool get_file_info(const char* name, const sfilepath* path, sfileinfo* info);
// Refused for a locked file, as by the File Manager.
bool set_file_info(const char* name, const sfilepath* path, const sfileinfo* info);
bool get_finder_attributes(const char* name, const sfilepath* path, uint16_t* attributes);
bool set_finder_attributes(const char* name, const sfilepath* path, uint16_t attributes);

}  // namespace cx

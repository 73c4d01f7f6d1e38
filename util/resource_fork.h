// Resource forks. A file's resource fork is the hidden file "._<name>.rsrc"
// beside it (see sidecar_files.h) and is read and written as plain bytes.
#pragma once

#include <cstdint>

#include "util/file_path.h"

namespace cx {

// A reference number for the fork of an existing file, or -1 when the file or
// its fork is missing. A locked file's fork opens read-only or not at all,
// as open_file treats the file itself.
int16_t open_rsrc_fork(const char* name, const sfilepath* path, int8_t permission);
// Gives an existing, unlocked file an empty resource fork if it has none.
bool create_rsrc_fork(const char* name, const sfilepath* path);
bool close_rsrc_fork(int16_t ref);

// Writes a resource fork in the Resource Manager's file format holding one
// 'STR ' resource with the given ID: the text as a Pascal string (cut at 255
// bytes). The file must exist and its fork must be missing or empty.
bool add_rsrc_string_to_new_file(const char* name, const sfilepath* path, int16_t id,
                                 const char* text);

}  // namespace cx
